# SNMPv3. Net-SNMP is bound at run time: its headers are needed, its library is not linked.
find_path(NET_SNMP_INCLUDE_DIR net-snmp/net-snmp-config.h REQUIRED)
target_include_directories(tarn_core SYSTEM PRIVATE ${NET_SNMP_INCLUDE_DIR})
target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/net_snmp_library.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pdu_conversion.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_codec.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_codec_start.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_frame.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_peer.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_thread.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usm_transport.cpp)
