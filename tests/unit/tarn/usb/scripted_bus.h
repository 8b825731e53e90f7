#pragma once

// A USB bus that exists only in memory: what is plugged in, and how it takes questions, is set by the test.

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb::test {

// What is on the bus; shared by the test and by the buses that are opened on it. Any thread.
class ScriptedPorts
{
public:
    struct Behaviour
    {
        UsbAnswer id{Outcome::Stalled, {}};
        UsbAnswer status{Outcome::Busy, {}};
        bool hangs = false; // a question lasts until the bus is stopped
    };

    // Returns its address.
    std::uint8_t plug(const std::string& path, Behaviour behaviour, UsbDevice device = {})
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        device.path = path;
        device.bus = 1;
        device.address = ++m_lastAddress;
        m_devices[path] = {device, std::move(behaviour)};
        announce();
        return device.address;
    }
    void unplug(const std::string& path)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_devices.erase(path);
        announce();
    }
    void behave(const std::string& path, Behaviour behaviour)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_devices[path].second = std::move(behaviour);
    }
    unsigned asked(const std::string& path, Question question)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_asked[{path, question}];
    }
    // So many looks at the devices fail for lack of descriptors.
    void failLooks(unsigned howMany)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_failingLooks = howMany;
        announce();
    }
    unsigned failingLooks()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_failingLooks;
    }
    // How often the devices were looked at.
    unsigned looks()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_looks;
    }
    unsigned opened()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_opened;
    }
    bool hangs()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_hanging;
    }

private:
    friend class ScriptedBus;
    void announce()
    {
        m_changed = true;
        m_event.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_event;
    std::map<std::string, std::pair<UsbDevice, Behaviour>> m_devices;
    std::map<std::pair<std::string, Question>, unsigned> m_asked;
    std::uint8_t m_lastAddress = 1;
    unsigned m_opened = 0;
    unsigned m_looks = 0;
    unsigned m_failingLooks = 0;
    bool m_changed = false;
    bool m_interrupted = false;
    bool m_stopped = false;
    bool m_hanging = false;
};

class ScriptedBus final : public UsbBus
{
public:
    explicit ScriptedBus(ScriptedPorts& ports) : m_ports(ports)
    {
        const std::lock_guard<std::mutex> lock(m_ports.m_mutex);
        ++m_ports.m_opened;
        m_ports.m_stopped = false;
    }

    std::optional<std::vector<UsbDevice>> devices() override
    {
        const std::lock_guard<std::mutex> lock(m_ports.m_mutex);
        ++m_ports.m_looks;
        if (m_ports.m_failingLooks > 0) {
            --m_ports.m_failingLooks;
            m_ports.announce(); // look again
            return std::nullopt;
        }
        m_ports.m_changed = false;
        std::vector<UsbDevice> all;
        for (auto at = m_ports.m_devices.rbegin(); at != m_ports.m_devices.rend(); ++at) { // in no order
            all.push_back(at->second.first);
        }
        return all;
    }
    UsbAnswer ask(const UsbDevice& device, Question question) override
    {
        std::unique_lock<std::mutex> lock(m_ports.m_mutex);
        const auto found = m_ports.m_devices.find(device.path);
        if (found == m_ports.m_devices.end() || found->second.first.address != device.address) {
            return {Outcome::Gone, {}};
        }
        ++m_ports.m_asked[{device.path, question}];
        const ScriptedPorts::Behaviour behaviour = found->second.second;
        if (behaviour.hangs) {
            m_ports.m_hanging = true;
            m_ports.m_event.wait(lock, [this] { return m_ports.m_stopped; });
            return {Outcome::Gone, {}};
        }
        return question == Question::DeviceId ? behaviour.id : behaviour.status;
    }
    bool waitForChange(Milliseconds /*longest*/) override
    {
        std::unique_lock<std::mutex> lock(m_ports.m_mutex);
        m_ports.m_event.wait(
            lock, [this] { return m_ports.m_changed || m_ports.m_interrupted || m_ports.m_stopped; });
        m_ports.m_interrupted = false;
        return m_ports.m_changed;
    }
    void interrupt() override
    {
        const std::lock_guard<std::mutex> lock(m_ports.m_mutex);
        m_ports.m_interrupted = true;
        m_ports.m_event.notify_all();
    }
    void stop() override
    {
        const std::lock_guard<std::mutex> lock(m_ports.m_mutex);
        m_ports.m_stopped = true;
        m_ports.m_event.notify_all();
    }

private:
    ScriptedPorts& m_ports;
};

inline UsbAnswer said(const std::string& octets)
{
    return {Outcome::Answered, octets};
}

} // namespace tarn::usb::test
