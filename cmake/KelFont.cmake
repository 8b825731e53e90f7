# kel_link_font(<target>): links the system's Chinese font beside the target's program, in the build tree and installed,
# under the name that the program looks for. The package's file is a collection (.ttc); Qt reads it under the other name
# as well.
find_file(KEL_FONT wqy-zenhei.ttc
    PATHS /usr/share/fonts/truetype/wqy /usr/share/fonts/wenquanyi/wqy-zenhei
    NO_CMAKE_FIND_ROOT_PATH
    DOC "The Chinese font (package fonts-wqy-zenhei)")

function(kel_link_font target)
    if(NOT KEL_FONT)
        message(WARNING "wqy-zenhei.ttc not found (package fonts-wqy-zenhei): ${target} will use the desktop's font")
        return()
    endif()
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E create_symlink ${KEL_FONT} $<TARGET_FILE_DIR:${target}>/wqy-zenhei.ttf VERBATIM)
    kel_install_link(kel ${KEL_PRIVATE_DIR}/bin wqy-zenhei.ttf ${KEL_FONT})
endfunction()
