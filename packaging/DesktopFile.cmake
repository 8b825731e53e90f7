# kel_desktop_file(<launcher> <output>): the desktop file, whose Exec= names that launcher by its whole path.
function(kel_desktop_file launcher output)
    set(KEL_EXEC "${launcher}")
    if(NOT launcher MATCHES "^[A-Za-z0-9/._+-]+$")
        # Quoted for Exec=, and that once more as a text of a desktop file; "%" stands for itself as "%%".
        string(REGEX REPLACE "([\"`$\\])" "\\\\\\1" quoted "${launcher}")
        string(REPLACE "\\" "\\\\" quoted "${quoted}")
        string(REPLACE "%" "%%" quoted "${quoted}")
        set(KEL_EXEC "\"${quoted}\"")
    endif()
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/org.morvik.Kel.desktop.in" "${output}" @ONLY)
endfunction()
