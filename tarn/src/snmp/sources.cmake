target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/ber.cpp
    ${CMAKE_CURRENT_LIST_DIR}/charset.cpp
    ${CMAKE_CURRENT_LIST_DIR}/codec.cpp
    ${CMAKE_CURRENT_LIST_DIR}/encoder.cpp
    ${CMAKE_CURRENT_LIST_DIR}/columns.cpp
    ${CMAKE_CURRENT_LIST_DIR}/identity_words.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kept_tables.cpp
    ${CMAKE_CURRENT_LIST_DIR}/message_head.cpp
    ${CMAKE_CURRENT_LIST_DIR}/picture.cpp
    ${CMAKE_CURRENT_LIST_DIR}/picture_condition.cpp
    ${CMAKE_CURRENT_LIST_DIR}/picture_stock.cpp
    ${CMAKE_CURRENT_LIST_DIR}/quirks.cpp
    ${CMAKE_CURRENT_LIST_DIR}/readers.cpp
    ${CMAKE_CURRENT_LIST_DIR}/request_sizing.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_session.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_session_replay.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_session_stages.cpp)
