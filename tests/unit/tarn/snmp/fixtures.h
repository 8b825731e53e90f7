#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/support/recorded_agent.h"

namespace kel::testing {

inline RecordedAgent fixture(const std::string& name)
{
    return RecordedAgent::fromFile(std::string(KEL_SNMP_DATA) + "/" + name + ".snmprec");
}

// The status that the first read with a recorded printer gives.
inline tarn::device::DeviceStatus statusOf(RecordedAgent agent)
{
    tarn::snmp::PrinterSession session(agent.v1 ? tarn::snmp::Version::V1 : tarn::snmp::Version::V2c);
    runRead(session, agent, tarn::engine::ReadKind::Identity);
    EXPECT_EQ(session.outcome(), tarn::engine::ReadOutcome::Changed);
    return session.status() ? *session.status() : tarn::device::DeviceStatus();
}

inline tarn::device::DeviceStatus statusOf(const std::string& name)
{
    return statusOf(fixture(name));
}

} // namespace kel::testing
