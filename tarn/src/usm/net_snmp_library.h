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
struct NetSnmpLibrary final : SharedObject
{
    static constexpr const char* kSoname = "libnetsnmp.so.40";

    using SharedObject::SharedObject;

    // starting and ending
    SharedFunction<decltype(::netsnmp_register_loghandler)> registerLogHandler{*this,
                                                                               "netsnmp_register_loghandler"};
    SharedFunction<decltype(::shutdown_snmp_logging)> shutdownLogging{*this, "shutdown_snmp_logging"};
    SharedFunction<decltype(::init_snmpv3)> initV3{*this, "init_snmpv3"};
    SharedFunction<decltype(::read_premib_configs)> readPremibConfigs{*this, "read_premib_configs"};
    SharedFunction<decltype(::read_configs)> readConfigs{*this, "read_configs"};
    SharedFunction<decltype(::snmp_call_callbacks)> callCallbacks{*this, "snmp_call_callbacks"};
    SharedFunction<decltype(::clear_callback)> clearCallbacks{*this, "clear_callback"};
    SharedFunction<decltype(::unregister_all_config_handlers)> unregisterConfigHandlers{
        *this, "unregister_all_config_handlers"};
    SharedFunction<decltype(::clear_snmp_enum)> clearEnums{*this, "clear_snmp_enum"};
    SharedFunction<decltype(::find_sec_mod)> findSecurityModel{*this, "find_sec_mod"};
    SharedFunction<decltype(::clear_sec_mod)> clearSecurityModels{*this, "clear_sec_mod"};
    SharedFunction<decltype(::shutdown_secmod)> shutdownSecurityModels{*this, "shutdown_secmod"};

    // what snmp.conf says
    SharedFunction<decltype(::netsnmp_ds_get_string)> getString{*this, "netsnmp_ds_get_string"};
    SharedFunction<decltype(::netsnmp_ds_set_string)> setString{*this, "netsnmp_ds_set_string"};
    SharedFunction<decltype(::netsnmp_ds_get_int)> getInt{*this, "netsnmp_ds_get_int"};
    SharedFunction<decltype(::netsnmp_ds_set_boolean)> setBoolean{*this, "netsnmp_ds_set_boolean"};
    SharedFunction<decltype(::netsnmp_ds_shutdown)> shutdownSettings{*this, "netsnmp_ds_shutdown"};
    SharedFunction<decltype(::get_default_authtype)> defaultAuth{*this, "get_default_authtype"};
    SharedFunction<decltype(::get_default_privtype)> defaultPriv{*this, "get_default_privtype"};

    // users and engines
    SharedFunction<decltype(::generate_Ku)> generateKu{*this, "generate_Ku"};
    SharedFunction<decltype(::generate_kul)> generateKul{*this, "generate_kul"};
    SharedFunction<decltype(::usm_add_user)> addUser{*this, "usm_add_user"};
    SharedFunction<decltype(::usm_remove_user)> removeUser{*this, "usm_remove_user"};
    SharedFunction<decltype(::set_enginetime)> setEngineTime{*this, "set_enginetime"};
    SharedFunction<decltype(::get_enginetime)> getEngineTime{*this, "get_enginetime"};
    SharedFunction<decltype(::free_etimelist)> freeEngineTimes{*this, "free_etimelist"};

    // messages
    SharedFunction<decltype(::snmp_pdu_create)> createPdu{*this, "snmp_pdu_create"};
    SharedFunction<decltype(::snmp_free_pdu)> freePdu{*this, "snmp_free_pdu"};
    SharedFunction<decltype(::snmp_pdu_add_variable)> addVariable{*this, "snmp_pdu_add_variable"};
    SharedFunction<decltype(::snmp_build)> build{*this, "snmp_build"};
    SharedFunction<decltype(::snmpv3_parse)> parse{*this, "snmpv3_parse"};
    SharedFunction<decltype(::snmpv3_get_report_type)> reportType{*this, "snmpv3_get_report_type"};
};

} // namespace tarn::usm
