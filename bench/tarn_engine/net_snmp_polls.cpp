#include "bench/tarn_engine/pollers.h"

#ifdef KEL_HAVE_NET_SNMP

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "bench/tarn_engine/responder.h"
#include "tarn/src/snmp/wire/codec.h"

namespace bench {

namespace {

using SteadyClock = std::chrono::steady_clock;

class NetSnmpPolls final : public PollBench
{
public:
    explicit NetSnmpPolls(const std::string& request)
    {
        const auto message = tarn::snmp::decodeMessage(
            {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
        m_pdu = message->pdu;
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
        netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
        ::setenv("MIBS", "", 1); // names are of no use here
        ::setenv("SNMP_PERSISTENT_DIR", "/nonexistent", 1);
        init_snmp("bench");
        std::string peer = "udp:127.48.0.1:" + std::to_string(kResponderPort);
        unsigned char community[] = "public";
        snmp_session wanted;
        snmp_sess_init(&wanted);
        wanted.peername = peer.data();
        wanted.version = SNMP_VERSION_2c;
        wanted.community = community;
        wanted.community_len = 6;
        wanted.callback = &NetSnmpPolls::answered;
        wanted.callback_magic = this;
        wanted.timeout = 200000;
        wanted.retries = 0;
        m_session = snmp_sess_open(&wanted);
        if (m_session == nullptr) {
            throw std::runtime_error("no Net-SNMP session");
        }
    }
    ~NetSnmpPolls() override { snmp_sess_close(m_session); }

    Stretch run(double seconds) override
    {
        m_answers = 0;
        const double cpu = threadCpuUs();
        const auto begun = SteadyClock::now();
        const auto end = begun + std::chrono::duration<double>(seconds);
        while (SteadyClock::now() < end) {
            while (m_open < 256) {
                ask();
            }
            fd_set descriptors;
            FD_ZERO(&descriptors);
            int count = 0;
            int block = 0;
            timeval timeout{0, 10000};
            snmp_sess_select_info(m_session, &count, &descriptors, &timeout, &block);
            const int ready = ::select(count, &descriptors, nullptr, nullptr, &timeout);
            if (ready > 0) {
                snmp_sess_read(m_session, &descriptors);
            } else {
                snmp_sess_timeout(m_session);
            }
        }
        const std::chrono::duration<double> took = SteadyClock::now() - begun;
        const auto polls = static_cast<double>(m_answers);
        return {(threadCpuUs() - cpu) / polls, polls / took.count()};
    }

private:
    void ask()
    {
        const bool bulk = m_pdu.type == tarn::snmp::PduType::GetBulkRequest;
        snmp_pdu* const pdu = snmp_pdu_create(static_cast<int>(m_pdu.type));
        if (bulk) {
            pdu->non_repeaters = m_pdu.errorStatus;
            pdu->max_repetitions = m_pdu.errorIndex;
        }
        for (const tarn::snmp::Varbind& varbind : m_pdu.varbinds) {
            oid name[MAX_OID_LEN];
            std::size_t length = 0;
            for (const std::uint32_t part : varbind.name) {
                name[length++] = part;
            }
            snmp_add_null_var(pdu, name, length);
        }
        if (snmp_sess_send(m_session, pdu) == 0) {
            snmp_free_pdu(pdu);
            return;
        }
        ++m_open;
    }

    static int answered(int operation, snmp_session*, int, snmp_pdu* pdu, void* magic)
    {
        auto* const self = static_cast<NetSnmpPolls*>(magic);
        --self->m_open;
        if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu->variables != nullptr) {
            ++self->m_answers;
        }
        return 1;
    }

    tarn::snmp::Pdu m_pdu;
    void* m_session = nullptr;
    int m_open = 0;
    std::uint64_t m_answers = 0;
};

} // namespace

std::unique_ptr<PollBench> netSnmpPolls(std::string request)
{
    return std::make_unique<NetSnmpPolls>(request);
}

} // namespace bench

#else

namespace bench {

std::unique_ptr<PollBench> netSnmpPolls(std::string)
{
    return nullptr;
}

} // namespace bench

#endif
