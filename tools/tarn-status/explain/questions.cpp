#include "tools/tarn-status/explain/questions.h"

namespace tarnstatus {

using tarn::engine::VersionChoice;

namespace {

VersionChoice choiceOf(SnmpVersion version)
{
    switch (version) {
    case SnmpVersion::V1:
        return VersionChoice::V1;
    case SnmpVersion::V2c:
        return VersionChoice::V2c;
    case SnmpVersion::V3:
        break;
    }
    return VersionChoice::V3;
}

// Who is asked in the name of nobody in particular goes by Net-SNMP's own configuration.
std::shared_ptr<const tarn::engine::UsmUser> userOfSnmpConf()
{
    auto user = std::make_shared<tarn::engine::UsmUser>();
    user->isFromSnmpConf = true;
    return user;
}

} // namespace

Questions questionsFor(std::uint32_t address, const ExplainOptions& options,
                       const tarn::catalog::Config& config)
{
    const tarn::engine::PrinterAddress said = config.addressFor(address);
    Questions questions;
    questions.address = address;
    questions.port = options.port.value_or(said.endpoint.port);
    questions.community = options.community.value_or(*said.community);
    questions.version = options.snmp ? choiceOf(*options.snmp) : said.version;
    questions.user = said.user;
    if (options.user) {
        questions.version = VersionChoice::V3;
        questions.user = config.userNamed(*options.user);
    } else if (questions.isVersion3() && said.version != VersionChoice::V3) {
        questions.user = userOfSnmpConf();
    }
    if (said.ipp) {
        questions.ipp = *said.ipp;
    }
    return questions;
}

} // namespace tarnstatus
