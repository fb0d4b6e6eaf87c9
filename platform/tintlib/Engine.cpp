#include "Engine.h"

#include "Context.h"
#include "OpenProfile.h"

#include <atomic>
#include <map>
#include <mutex>
#include <tuple>

namespace tint {

namespace {

using Key = std::tuple<QByteArray, unsigned int, QByteArray, unsigned int, unsigned int, unsigned int>;

struct Engines {
    std::mutex mutex;
    std::map<Key, std::weak_ptr<const Engine>> inUse;
};

} // namespace

quint32 Engine::nextNumber()
{
    static std::atomic<quint64> last { 0 };
    const quint64 number = ++last;
    return number <= 0xffffffffU ? quint32(number) : 0;
}

std::shared_ptr<const Engine> engineFor(const Profile &source, unsigned int inputFormat, const Profile &target,
    unsigned int outputFormat, unsigned int intent, unsigned int flags)
{
    static Engines &engines = *new Engines; // outlives whatever the application keeps in statics
    const Key key { source.digest, inputFormat, target.digest, outputFormat, intent, flags };
    {
        const std::lock_guard<std::mutex> lock(engines.mutex);
        const auto found = engines.inUse.find(key);
        if (found != engines.inUse.end())
            if (auto engine = found->second.lock())
                return engine;
    }

    // Made without the lock, so that others need not wait for it.
    EngineCall call;
    const OpenProfile from(call, silentContext(), source.bytes), to(call, silentContext(), target.bytes);
    if (!from.handle() || !to.handle())
        return nullptr;
    cmsHTRANSFORM made = nullptr;
    call.Do([&] {
        made = cmsCreateTransformTHR(
            silentContext(), from.handle(), inputFormat, to.handle(), outputFormat, intent, flags);
    });
    if (!made)
        return nullptr;
    Engine::Transform transform(made);
    const auto engine = std::make_shared<const Engine>(std::move(transform));

    const std::lock_guard<std::mutex> lock(engines.mutex);
    for (auto i = engines.inUse.begin(); i != engines.inUse.end();)
        i = i->second.expired() ? engines.inUse.erase(i) : std::next(i);
    engines.inUse.emplace(key, engine);
    return engine;
}

} // namespace tint
