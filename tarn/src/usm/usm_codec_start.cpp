// Starting and ending Net-SNMP, and the keys of its users.
#include <array>

#include "tarn/src/base/exit_hook.h"
#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/usm_codec.h"

namespace tarn::usm {

using engine::UsmUser;

namespace {

constexpr char kAppType[] = "snmp"; // only snmp.conf is read

constexpr std::array<oid, 10> kMd5 = {1, 3, 6, 1, 6, 3, 10, 1, 1, 2};
constexpr std::array<oid, 10> kSha = {1, 3, 6, 1, 6, 3, 10, 1, 1, 3};
constexpr std::array<oid, 10> kSha256 = {1, 3, 6, 1, 6, 3, 10, 1, 1, 5};
constexpr std::array<oid, 10> kAes = {1, 3, 6, 1, 6, 3, 10, 1, 2, 4};
constexpr std::array<oid, 10> kDes = {1, 3, 6, 1, 6, 3, 10, 1, 2, 2};

std::vector<oid> named(const std::array<oid, 10>& protocol)
{
    return {protocol.begin(), protocol.end()};
}

} // namespace

std::unique_ptr<UsmCodec> UsmCodec::start(const char* soname, std::string& why)
{
    auto library = std::make_unique<NetSnmpLibrary>(soname);
    if (!library->isUsable()) {
        why = library->complaint();
        return nullptr;
    }
    if (!ExitHook::arm()) {
        why = "the program ends";
        return nullptr;
    }
    return std::unique_ptr<UsmCodec>(new UsmCodec(std::move(library)));
}

// The steps of init_snmp() that are needed, without those that read MIB files, change the program's locale or
// set up transports. Where the program has started Net-SNMP itself, it stays as it is.
UsmCodec::UsmCodec(std::unique_ptr<NetSnmpLibrary> library) : m_library(std::move(library))
{
    if (m_library->findSecurityModel(SNMP_SEC_MODEL_USM) != nullptr) {
        return;
    }
    m_isOurs = true;
    // What strangers send must not fill the program's stderr.
    m_library->registerLogHandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
    m_library->setString(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE, kAppType);
    m_library->setBoolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
    m_library->setBoolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_NO_TOKEN_WARNINGS, 1);
    m_library->setBoolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_REVERSE_ENCODE, 1); // build() relies on it
    m_library->initV3(kAppType);
    m_library->readPremibConfigs();
    m_library->readConfigs();
}

// The steps of snmp_shutdown() without the one that writes files.
UsmCodec::~UsmCodec()
{
    if (!m_isOurs) {
        return;
    }
    m_library->callCallbacks(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_SHUTDOWN, nullptr);
    m_library->unregisterConfigHandlers();
    m_library->clearSecurityModels();
    m_library->clearEnums();
    m_library->clearCallbacks();
    m_library->shutdownSettings();
    m_library->shutdownSecurityModels();
    m_library->shutdownLogging();
}

std::unique_ptr<UsmKeys> UsmCodec::describe(const UsmUser& user, std::string& authPassword,
                                            std::string& privPassword, std::string& why) const
{
    if (user.isFromSnmpConf) {
        return describeSnmpConf(authPassword, privPassword, why);
    }
    auto keys = std::make_unique<UsmKeys>();
    keys->name = user.name;
    keys->context = user.context;
    keys->authProtocol = named(user.auth == UsmUser::Auth::Md5   ? kMd5
                               : user.auth == UsmUser::Auth::Sha ? kSha
                                                                 : kSha256);
    authPassword = user.authPassword;
    if (user.isPrivate) {
        keys->privProtocol = named(kAes);
        privPassword = user.privPassword;
    }
    return keys;
}

std::unique_ptr<UsmKeys> UsmCodec::describeSnmpConf(std::string& authPassword, std::string& privPassword,
                                                    std::string& why) const
{
    const auto text = [this](int which, int otherwise) {
        const char* found = m_library->getString(NETSNMP_DS_LIBRARY_ID, which);
        if (found == nullptr) {
            found = m_library->getString(NETSNMP_DS_LIBRARY_ID, otherwise);
        }
        return std::string(found != nullptr ? found : "");
    };
    auto keys = std::make_unique<UsmKeys>();
    keys->name = text(NETSNMP_DS_LIB_SECNAME, NETSNMP_DS_LIB_SECNAME);
    keys->context = text(NETSNMP_DS_LIB_CONTEXT, NETSNMP_DS_LIB_CONTEXT);
    authPassword = text(NETSNMP_DS_LIB_AUTHPASSPHRASE, NETSNMP_DS_LIB_PASSPHRASE);
    if (keys->name.empty() || authPassword.empty()) {
        why = "no \"user\" is configured, and snmp.conf has no defSecurityName with a defAuthPassphrase";
        return nullptr;
    }
    std::size_t length = 0;
    const oid* const auth = m_library->defaultAuth(&length);
    keys->authProtocol.assign(auth, auth + length);
    const int level = m_library->getInt(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_SECLEVEL);
    if (level == SNMP_SEC_LEVEL_NOAUTH) {
        why = "defSecurityLevel of snmp.conf is noAuthNoPriv, by which anybody could answer for the printer";
        return nullptr;
    }
    if (level == SNMP_SEC_LEVEL_AUTHPRIV) {
        privPassword = text(NETSNMP_DS_LIB_PRIVPASSPHRASE, NETSNMP_DS_LIB_PASSPHRASE);
        const oid* const priv = m_library->defaultPriv(&length);
        keys->privProtocol.assign(priv, priv + length);
        if (keys->privProtocol != named(kAes) && keys->privProtocol != named(kDes)) {
            why = "the defPrivType of snmp.conf is not supported here";
            return nullptr;
        }
    }
    return keys;
}

std::shared_ptr<const UsmKeys> UsmCodec::keysOf(const UsmUser& user, std::string& why) const
{
    std::string authPassword;
    std::string privPassword;
    std::unique_ptr<UsmKeys> keys = describe(user, authPassword, privPassword, why);
    if (!keys) {
        return nullptr;
    }
    const auto make = [&](const std::string& password, Bytes& out) {
        out.assign(USM_AUTH_KU_LEN, 0);
        std::size_t size = out.size();
        const bool made =
            m_library->generateKu(keys->authProtocol.data(), static_cast<u_int>(keys->authProtocol.size()),
                                  reinterpret_cast<const u_char*>(password.data()), password.size(),
                                  out.data(), &size) == SNMPERR_SUCCESS;
        out.resize(size);
        return made;
    };
    if (!make(authPassword, keys->authKey) ||
        (!keys->privProtocol.empty() && !make(privPassword, keys->privKey))) {
        why = "no key could be made for the user \"" + keys->name +
              "\": a password has fewer than 8 characters, or the protocol is not known here";
        return nullptr;
    }
    return keys;
}

} // namespace tarn::usm
