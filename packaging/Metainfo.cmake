# kel_metainfo(<homepage> <screenshot> <output>): the metainfo, with those addresses that are not empty. None is made up.
# As a script: cmake -D HOMEPAGE=... -D SCREENSHOT=... -D OUTPUT=... -P Metainfo.cmake
function(kel_metainfo homepage screenshot output)
    foreach(address IN ITEMS homepage screenshot)
        string(REPLACE "&" "&amp;" ${address} "${${address}}")
        string(REPLACE "<" "&lt;" ${address} "${${address}}")
    endforeach()
    set(KEL_ADDRESSES "")
    if(homepage)
        string(APPEND KEL_ADDRESSES "  <url type=\"homepage\">${homepage}</url>\n")
    endif()
    if(screenshot)
        string(APPEND KEL_ADDRESSES "  <screenshots>\n    <screenshot type=\"default\">\n"
            "      <caption>Six printers, and what one of them says</caption>\n"
            "      <caption xml:lang=\"zh_CN\">六台打印机，以及其中一台的状态</caption>\n"
            "      <image>${screenshot}</image>\n    </screenshot>\n  </screenshots>\n")
    endif()
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/org.morvik.Kel.metainfo.xml.in" "${output}" @ONLY)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
    kel_metainfo("${HOMEPAGE}" "${SCREENSHOT}" "${OUTPUT}")
endif()
