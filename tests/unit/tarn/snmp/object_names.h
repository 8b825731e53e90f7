#pragma once

// Objects of the Host Resources and Printer MIBs that tests change, of the first device, marker and supply.

namespace tarn::snmp::test::objects {

inline constexpr const char* kUpTime = "1.3.6.1.2.1.1.3.0";
inline constexpr const char* kPrinterStatus = "1.3.6.1.2.1.25.3.5.1.1.1";
inline constexpr const char* kErrorState = "1.3.6.1.2.1.25.3.5.1.2.1";
inline constexpr const char* kConfigChanges = "1.3.6.1.2.1.43.5.1.1.1.1";
inline constexpr const char* kCriticalEvents = "1.3.6.1.2.1.43.5.1.1.18.1";
inline constexpr const char* kAllEvents = "1.3.6.1.2.1.43.5.1.1.19.1";
inline constexpr const char* kTrayLevel = "1.3.6.1.2.1.43.8.2.1.10.1.1";
inline constexpr const char* kLifeCount = "1.3.6.1.2.1.43.10.2.1.4.1.1";
inline constexpr const char* kBlackLevel = "1.3.6.1.2.1.43.11.1.1.9.1.1";

} // namespace tarn::snmp::test::objects
