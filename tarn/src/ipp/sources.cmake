# The headers of libcups; the library itself is opened when it is first needed (docs/decisions/0001).
find_file(CUPS_HEADER cups/cups.h REQUIRED)
target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/alert_rows.cpp
    ${CMAKE_CURRENT_LIST_DIR}/asker_pool.cpp
    ${CMAKE_CURRENT_LIST_DIR}/cups_library.cpp
    ${CMAKE_CURRENT_LIST_DIR}/cups_queues.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_attributes.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_client.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_condition.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_backends.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_picture.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_poller.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_shape.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_stock.cpp
    ${CMAKE_CURRENT_LIST_DIR}/keyed_text.cpp
    ${CMAKE_CURRENT_LIST_DIR}/reasons.cpp
    ${CMAKE_CURRENT_LIST_DIR}/relay.cpp)
