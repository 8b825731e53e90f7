target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/alert_texts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/device_id.cpp
    ${CMAKE_CURRENT_LIST_DIR}/device_status.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kept_picture.cpp
    ${CMAKE_CURRENT_LIST_DIR}/make_and_model.cpp
    ${CMAKE_CURRENT_LIST_DIR}/picture_field.cpp
    ${CMAKE_CURRENT_LIST_DIR}/rendering.cpp
    ${CMAKE_CURRENT_LIST_DIR}/serial_number.cpp
    ${CMAKE_CURRENT_LIST_DIR}/state_words.cpp
    ${CMAKE_CURRENT_LIST_DIR}/supply_types.cpp
    ${CMAKE_CURRENT_LIST_DIR}/supply_words.cpp
    ${CMAKE_CURRENT_LIST_DIR}/text.cpp
    ${CMAKE_CURRENT_LIST_DIR}/word_search.cpp)
