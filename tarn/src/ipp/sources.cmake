# The headers of libcups and libcurl; the libraries themselves are opened when they are first needed
# (docs/decisions/0001, 0002).
find_file(CUPS_HEADER cups/cups.h REQUIRED)
find_file(CURL_HEADER curl/curl.h REQUIRED)
target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/alert_rows.cpp
    ${CMAKE_CURRENT_LIST_DIR}/cups_library.cpp
    ${CMAKE_CURRENT_LIST_DIR}/cups_queues.cpp
    ${CMAKE_CURRENT_LIST_DIR}/curl_library.cpp
    ${CMAKE_CURRENT_LIST_DIR}/http_exchange.cpp
    ${CMAKE_CURRENT_LIST_DIR}/http_loop.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_attributes.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_condition.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_backends.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_picture.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_poller.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_shape.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_stock.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_transport.cpp
    ${CMAKE_CURRENT_LIST_DIR}/keyed_text.cpp
    ${CMAKE_CURRENT_LIST_DIR}/reasons.cpp
    ${CMAKE_CURRENT_LIST_DIR}/request_runner.cpp
    ${CMAKE_CURRENT_LIST_DIR}/route_search.cpp)
