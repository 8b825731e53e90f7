#include "tarn/src/usm/net_snmp_library.h"

namespace tarn::usm {

NetSnmpLibrary::NetSnmpLibrary(const char* soname) : m_object(soname)
{
    m_object.bind(registerLogHandler, "netsnmp_register_loghandler");
    m_object.bind(shutdownLogging, "shutdown_snmp_logging");
    m_object.bind(initV3, "init_snmpv3");
    m_object.bind(readPremibConfigs, "read_premib_configs");
    m_object.bind(readConfigs, "read_configs");
    m_object.bind(callCallbacks, "snmp_call_callbacks");
    m_object.bind(clearCallbacks, "clear_callback");
    m_object.bind(unregisterConfigHandlers, "unregister_all_config_handlers");
    m_object.bind(clearEnums, "clear_snmp_enum");
    m_object.bind(findSecurityModel, "find_sec_mod");
    m_object.bind(clearSecurityModels, "clear_sec_mod");
    m_object.bind(shutdownSecurityModels, "shutdown_secmod");
    m_object.bind(getString, "netsnmp_ds_get_string");
    m_object.bind(setString, "netsnmp_ds_set_string");
    m_object.bind(getInt, "netsnmp_ds_get_int");
    m_object.bind(setBoolean, "netsnmp_ds_set_boolean");
    m_object.bind(shutdownSettings, "netsnmp_ds_shutdown");
    m_object.bind(defaultAuth, "get_default_authtype");
    m_object.bind(defaultPriv, "get_default_privtype");
    m_object.bind(generateKu, "generate_Ku");
    m_object.bind(generateKul, "generate_kul");
    m_object.bind(addUser, "usm_add_user");
    m_object.bind(removeUser, "usm_remove_user");
    m_object.bind(setEngineTime, "set_enginetime");
    m_object.bind(getEngineTime, "get_enginetime");
    m_object.bind(freeEngineTimes, "free_etimelist");
    m_object.bind(createPdu, "snmp_pdu_create");
    m_object.bind(freePdu, "snmp_free_pdu");
    m_object.bind(addVariable, "snmp_pdu_add_variable");
    m_object.bind(build, "snmp_build");
    m_object.bind(parse, "snmpv3_parse");
    m_object.bind(reportType, "snmpv3_get_report_type");
}

} // namespace tarn::usm
