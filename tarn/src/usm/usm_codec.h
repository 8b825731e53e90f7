#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/usm_user.h"
#include "tarn/src/snmp/wire/codec.h"
#include "tarn/src/snmp/wire/pdu.h"

struct snmp_pdu; // Net-SNMP's

namespace tarn::usm {

struct NetSnmpLibrary;

using Bytes = std::vector<unsigned char>;

// What a user's passwords become: a megabyte is hashed for each, so that it is done once. RFC 3414 A.2.
struct UsmKeys
{
    std::string name;
    std::string context;
    std::vector<unsigned long> authProtocol; // object identifiers
    std::vector<unsigned long> privProtocol; // empty: messages are not encrypted
    Bytes authKey;
    Bytes privKey;
};

// One agent's engine as one user knows it: its name, its clock, and the keys that hold there alone.
struct UsmEngine
{
    std::string id; // 5 to 32 bytes, RFC 3411 SnmpEngineID
    std::uint32_t boots = 0;
    std::uint32_t time = 0;   // seconds since it booted, at the moment learnt
    TimePoint learnt{};       // by our clock
    bool isAuthentic = false; // boots and time come from a message that only the agent can have made
    Bytes authKey;
    Bytes privKey; // empty: messages are not encrypted
};

// Numbers that tie an answer to its message: of the message, and of the request within.
struct UsmIds
{
    std::int32_t message = 0;
    std::int32_t request = 0;
};

// Why an agent, or its user, would not answer us.
enum class UsmReport : std::uint8_t
{
    Other,
    UnknownEngine,
    NotInTimeWindow,
    UnknownUser,
    WrongDigest,
    UnsupportedLevel,
    DecryptionError,
};

// A message that came in.
struct UsmMessage
{
    enum class Kind : std::uint8_t
    {
        Unreadable, // or not the agent's: wrong key, unknown name
        OutOfTime,  // the agent's, but of another time than we believe it to be there
        Response,
        Report,
    };
    Kind kind = Kind::Unreadable;
    UsmReport report = UsmReport::Other;
    bool isProtected = false; // as the user demands it: authentic, and encrypted where it is to be
    UsmIds ids;
    UsmEngine engine; // id, boots and time as it says; without keys
    snmp::Pdu pdu;    // of a response
};

// UsmCodec is Net-SNMP without its sockets: it makes and reads the messages of SNMPv3 with the User-based
// Security Model (RFC 3412, 3414, 3826, 7860), and never waits.
//
// Net-SNMP keeps users and engines' clocks for the whole process. Here they are lent to it for one message at
// a time: engines that have the same name (cloned devices), and clocks that go back, disturb nobody else.
//
// Threading: one thread, and one codec at a time in the process. Ownership: none of its results refer to it.
class UsmCodec final
{
public:
    static constexpr std::size_t kLargestMessage = 8192; // that we are ready to receive
    static constexpr std::size_t kMaxBindings = 1024;

    // Starts Net-SNMP and lets it read its snmp.conf. Null, and why says it, when it is not to be had.
    static std::unique_ptr<UsmCodec> start(const char* soname, std::string& why);
    ~UsmCodec();
    UsmCodec(const UsmCodec&) = delete;
    UsmCodec& operator=(const UsmCodec&) = delete;

    // Null, and why says it without a password, when the user is none that messages can be made for. Takes
    // milliseconds.
    std::shared_ptr<const UsmKeys> keysOf(const engine::UsmUser& user, std::string& why) const;
    // Whether the keys for that engine could be made; they are then in it.
    bool localize(const UsmKeys& keys, UsmEngine& engine) const;

    // The message that asks an agent for its engine. RFC 3414 4.
    std::string probe(UsmIds ids) const;
    // The request under the user's protection; empty when it cannot be made.
    std::string request(const UsmKeys& keys, const UsmEngine& engine, const snmp::Pdu& pdu,
                        std::int32_t messageId, TimePoint now) const;
    // Reads a message. engine is what is known of its sender, null while nothing is; its clock is set by what
    // is authentic.
    UsmMessage read(snmp::ByteView bytes, const UsmKeys& keys, UsmEngine* engine, TimePoint now) const;

private:
    explicit UsmCodec(std::unique_ptr<NetSnmpLibrary> library);
    class Loan;

    std::unique_ptr<UsmKeys> describe(const engine::UsmUser& user, std::string& authPassword,
                                      std::string& privPassword, std::string& why) const;
    std::unique_ptr<UsmKeys> describeSnmpConf(std::string& authPassword, std::string& privPassword,
                                              std::string& why) const;
    std::string build(snmp_pdu& pdu) const;
    void take(snmp_pdu& pdu, const UsmKeys& keys, UsmEngine* engine, TimePoint now,
              UsmMessage& message) const;

    const std::unique_ptr<NetSnmpLibrary> m_library;
    bool m_isOurs = false; // we started it, so that we end it
};

} // namespace tarn::usm
