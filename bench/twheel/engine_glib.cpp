#include "bench/twheel/engines.h"

#ifdef KEL_HAVE_GLIB
#include <glib.h>

namespace bench {

namespace {

// Pairs only: an iteration of its loop looks at every timer there is.
class Glib final : public EngineOf<Glib, GSource*>
{
public:
    ~Glib() override
    {
        for (GSource* timer : m_pending) {
            stop(timer);
        }
        g_main_context_unref(m_context);
    }
    std::string name() const override { return "GLib"; }

    GSource* start(long delay)
    {
        GSource* timer = g_timeout_source_new(guint(delay));
        g_source_set_callback(
            timer, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
        g_source_attach(timer, m_context);
        return timer;
    }
    static void stop(GSource* timer)
    {
        g_source_destroy(timer);
        g_source_unref(timer);
    }
    void startPeriodic(const std::vector<long>&, long, Lateness&) override {}

private:
    GMainContext* m_context = g_main_context_new();
};

} // namespace

std::unique_ptr<Engine> makeGlib()
{
    return std::make_unique<Glib>();
}

} // namespace bench
#else
std::unique_ptr<bench::Engine> bench::makeGlib()
{
    return nullptr;
}
#endif
