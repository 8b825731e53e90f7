#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/usm_codec.h"

namespace {

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

struct World
{
    World()
    {
        ::setenv("SNMPCONFPATH", "/nonexistent", 1);
        std::string why;
        codec = tarn::usm::UsmCodec::start(tarn::usm::NetSnmpLibrary::kSoname, why);
        require(codec != nullptr);
        tarn::engine::UsmUser user;
        user.name = "mon";
        user.authPassword = "nobody knows it";
        user.isPrivate = true;
        user.privPassword = "nobody knows it";
        keys = codec->keysOf(user, why);
        require(keys != nullptr);
        engine.id = "engine-1";
        engine.boots = 3;
        engine.time = 1000;
        engine.isAuthentic = true;
        require(codec->localize(*keys, engine));
    }
    std::unique_ptr<tarn::usm::UsmCodec> codec;
    std::shared_ptr<const tarn::usm::UsmKeys> keys;
    tarn::usm::UsmEngine engine;
};

} // namespace

// Whatever comes in, before and after the agent's engine is known: who does not know the user's passwords
// makes nothing that counts as protected, and does not move the engine's clock.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const World world;
    for (const bool isKnown : {false, true}) {
        tarn::usm::UsmEngine engine = world.engine;
        const tarn::usm::UsmMessage message = world.codec->read(
            {data, size}, *world.keys, isKnown ? &engine : nullptr, tarn::TimePoint(tarn::Milliseconds(1)));
        require(!message.isProtected && message.kind != tarn::usm::UsmMessage::Kind::OutOfTime);
        require(engine.boots == world.engine.boots && engine.time == world.engine.time);
        require(message.pdu.varbinds.size() <= tarn::usm::UsmCodec::kMaxBindings);
    }
    return 0;
}
