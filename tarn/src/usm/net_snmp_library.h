#pragma once

// Within usm/ only: the header brings in all of Net-SNMP's names and macros.

#include <net-snmp/net-snmp-config.h>
// The configuration comes first.
#include <net-snmp/net-snmp-includes.h>

#include "tarn/src/base/shared_object.h"

namespace tarn::usm {

// NetSnmpLibrary is libnetsnmp, bound when it is first needed, and those of its functions that are used here.
//
// Threading: one thread at a time in the whole process, as Debian builds the library without locks.
class NetSnmpLibrary final
{
public:
    static constexpr const char* kSoname = "libnetsnmp.so.40";

    explicit NetSnmpLibrary(const char* soname);

    bool isUsable() const { return m_object.isUsable(); }
    std::string complaint() const { return m_object.complaint(); }

    // starting and ending
    decltype(::netsnmp_register_loghandler)* registerLogHandler = nullptr;
    decltype(::shutdown_snmp_logging)* shutdownLogging = nullptr;
    decltype(::init_snmpv3)* initV3 = nullptr;
    decltype(::read_premib_configs)* readPremibConfigs = nullptr;
    decltype(::read_configs)* readConfigs = nullptr;
    decltype(::snmp_call_callbacks)* callCallbacks = nullptr;
    decltype(::clear_callback)* clearCallbacks = nullptr;
    decltype(::unregister_all_config_handlers)* unregisterConfigHandlers = nullptr;
    decltype(::clear_snmp_enum)* clearEnums = nullptr;
    decltype(::find_sec_mod)* findSecurityModel = nullptr;
    decltype(::clear_sec_mod)* clearSecurityModels = nullptr;
    decltype(::shutdown_secmod)* shutdownSecurityModels = nullptr;

    // what snmp.conf says
    decltype(::netsnmp_ds_get_string)* getString = nullptr;
    decltype(::netsnmp_ds_set_string)* setString = nullptr;
    decltype(::netsnmp_ds_get_int)* getInt = nullptr;
    decltype(::netsnmp_ds_set_boolean)* setBoolean = nullptr;
    decltype(::netsnmp_ds_shutdown)* shutdownSettings = nullptr;
    decltype(::get_default_authtype)* defaultAuth = nullptr;
    decltype(::get_default_privtype)* defaultPriv = nullptr;

    // users and engines
    decltype(::generate_Ku)* generateKu = nullptr;
    decltype(::generate_kul)* generateKul = nullptr;
    decltype(::usm_add_user)* addUser = nullptr;
    decltype(::usm_remove_user)* removeUser = nullptr;
    decltype(::set_enginetime)* setEngineTime = nullptr;
    decltype(::get_enginetime)* getEngineTime = nullptr;
    decltype(::free_etimelist)* freeEngineTimes = nullptr;

    // messages
    decltype(::snmp_pdu_create)* createPdu = nullptr;
    decltype(::snmp_free_pdu)* freePdu = nullptr;
    decltype(::snmp_pdu_add_variable)* addVariable = nullptr;
    decltype(::snmp_build)* build = nullptr;
    decltype(::snmpv3_parse)* parse = nullptr;
    decltype(::snmpv3_get_report_type)* reportType = nullptr;

private:
    SharedObject m_object;
};

} // namespace tarn::usm
