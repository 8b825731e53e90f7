#include "tools/tarn-status/find/dns_sd.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>

#include "tools/tarn-status/find/avahi_library.h"
#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

// Ways to print (Bonjour Printing 1.2, Internet Printing over TLS).
constexpr std::array<const char*, 4> kServices{"_ipp._tcp", "_ipps._tcp", "_pdl-datastream._tcp",
                                               "_printer._tcp"};
// Names that are resolved at most, of all services together: a network may announce without end.
constexpr std::size_t kMostNames = 4 * kMostPrinters;
constexpr std::uint32_t kLoopback = 127;

template <typename Function>
std::vector<std::string> textsOf(const Function& library, AvahiStringList* list)
{
    std::vector<std::string> texts;
    for (; list != nullptr; list = library.nextText(list)) {
        texts.emplace_back(reinterpret_cast<const char*>(library.textOf(list)), library.sizeOf(list));
    }
    return texts;
}

} // namespace

class DnsSd::Listener final
{
public:
    Listener() { begin(); }
    // With the client goes what was begun with it.
    ~Listener()
    {
        if (m_client != nullptr) {
            m_avahi.clientFree(m_client);
        }
        if (m_poll != nullptr) {
            m_avahi.pollFree(m_poll);
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    bool isDone() const
    {
        return !m_complaint.empty() || (m_browsing == 0 && m_resolving == 0 && m_waiting.empty());
    }

    // A name at least is resolved, and more while there is time: each has the library wait for the daemon,
    // for 25 s where it hangs.
    void listen(std::chrono::milliseconds time)
    {
        const auto end = std::chrono::steady_clock::now() + time;
        while (!isDone() && !isInterrupted()) {
            resolveNext();
            const auto left =
                std::max(std::chrono::milliseconds(0), std::chrono::duration_cast<std::chrono::milliseconds>(
                                                           end - std::chrono::steady_clock::now()));
            const int wait = m_waiting.empty() ? static_cast<int>(left.count()) : 0;
            if (m_avahi.pollIterate(m_poll, wait) != 0) {
                complain("its connection has ended");
            }
            if (std::chrono::steady_clock::now() >= end) {
                return;
            }
        }
    }

    const std::vector<Announcement>& printers() const { return m_printers; }
    const std::string& complaint() const { return m_complaint; }

private:
    // A service that was told of.
    struct Name
    {
        AvahiIfIndex interface;
        AvahiProtocol protocol;
        std::string name;
        std::string type;
        std::string domain;
    };

    void begin()
    {
        if (!m_avahi.isUsable()) {
            m_complaint = m_avahi.complaint();
            return;
        }
        m_poll = m_avahi.pollNew();
        int error = AVAHI_ERR_NO_MEMORY;
        if (m_poll != nullptr) {
            m_client =
                m_avahi.clientNew(m_avahi.pollGet(m_poll), AvahiClientFlags(0), onClient, this, &error);
        }
        if (m_client == nullptr) {
            complain(std::string("Avahi: ") + m_avahi.strerror(error));
            return;
        }
        for (const char* const service : kServices) {
            if (isInterrupted()) {
                return;
            }
            if (m_avahi.browserNew(m_client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, service, nullptr,
                                   AvahiLookupFlags(0), onBrowse, this) == nullptr) {
                complainOf(m_client);
                return;
            }
            ++m_browsing;
        }
    }

    // The first reason holds.
    void complain(const std::string& why)
    {
        if (m_complaint.empty()) {
            m_complaint = why;
        }
    }

    void complainOf(AvahiClient* client)
    {
        complain(std::string("Avahi: ") + m_avahi.strerror(m_avahi.clientErrno(client)));
    }

    static void onClient(AvahiClient* client, AvahiClientState state, void* self)
    {
        if (state == AVAHI_CLIENT_FAILURE) {
            static_cast<Listener*>(self)->complainOf(client);
        }
    }

    static void onBrowse(AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol,
                         AvahiBrowserEvent event, const char* name, const char* type, const char* domain,
                         AvahiLookupResultFlags, void* self)
    {
        auto* const listener = static_cast<Listener*>(self);
        if (event == AVAHI_BROWSER_NEW) {
            listener->note({interface, protocol, name, type, domain});
        } else if (event == AVAHI_BROWSER_ALL_FOR_NOW || event == AVAHI_BROWSER_FAILURE) {
            listener->m_browsing -= listener->m_browsing > 0 ? 1 : 0;
        }
    }

    void note(const Name& name)
    {
        if (m_names < kMostNames) {
            ++m_names;
            m_waiting.push_back(name);
        }
    }

    // An answer, or after some seconds that there is none, always comes.
    void resolveNext()
    {
        if (m_waiting.empty()) {
            return;
        }
        const Name next = m_waiting.front();
        m_waiting.pop_front();
        if (m_avahi.resolverNew(m_client, next.interface, next.protocol, next.name.c_str(), next.type.c_str(),
                                next.domain.c_str(), AVAHI_PROTO_INET, AvahiLookupFlags(0), onResolve,
                                this) != nullptr) {
            ++m_resolving;
        }
    }

    static void onResolve(AvahiServiceResolver* resolver, AvahiIfIndex, AvahiProtocol,
                          AvahiResolverEvent event, const char* name, const char*, const char*, const char*,
                          const AvahiAddress* address, std::uint16_t port, AvahiStringList* texts,
                          AvahiLookupResultFlags, void* self)
    {
        auto* const listener = static_cast<Listener*>(self);
        if (event == AVAHI_RESOLVER_FOUND && address != nullptr && address->proto == AVAHI_PROTO_INET) {
            listener->take(name, address->data.ipv4.address, port, texts);
        }
        listener->m_avahi.resolverFree(resolver);
        --listener->m_resolving;
    }

    // Port 0: the service is not offered, its name only reserved. A loopback address: this machine's own,
    // where ipp-usb serves printers on USB.
    void take(const char* name, std::uint32_t address, std::uint16_t port, AvahiStringList* texts)
    {
        if (port == 0 || ntohl(address) >> 24 == kLoopback) {
            return;
        }
        char dotted[INET_ADDRSTRLEN] = "";
        const in_addr ip{address};
        inet_ntop(AF_INET, &ip, dotted, sizeof dotted);
        addAnnouncement(m_printers, announcementOf(name, dotted, textsOf(m_avahi, texts)));
    }

    AvahiLibrary m_avahi;
    AvahiSimplePoll* m_poll = nullptr;
    AvahiClient* m_client = nullptr;
    std::string m_complaint;
    int m_browsing = 0;         // kinds of services not told of to the end
    std::deque<Name> m_waiting; // to be resolved
    int m_resolving = 0;
    std::size_t m_names = 0;
    std::vector<Announcement> m_printers;
};

DnsSd::DnsSd() : m_listener(std::make_unique<Listener>()) {}

DnsSd::~DnsSd() = default;

void DnsSd::listen(std::chrono::milliseconds time)
{
    m_listener->listen(time);
}

bool DnsSd::isDone() const
{
    return m_listener->isDone();
}

const std::vector<Announcement>& DnsSd::printers() const
{
    return m_listener->printers();
}

const std::string& DnsSd::complaint() const
{
    return m_listener->complaint();
}

} // namespace tarnstatus
