# Installs into a scratch prefix and checks what a desktop needs: the two programs, the
# menu entry, the icon and the metadata, and that the entry and metadata are valid where the
# validators are installed.
set(prefix "${BINARY_DIR}/install-check")
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BINARY_DIR}" --prefix "${prefix}"
                RESULT_VARIABLE status OUTPUT_QUIET)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "cmake --install failed")
endif()
foreach(file bin/sonorelle bin/velmo share/applications/sonorelle.desktop
             share/icons/hicolor/scalable/apps/sonorelle.svg share/metainfo/org.sonorelle.Sonorelle.metainfo.xml)
    if(NOT EXISTS "${prefix}/${file}")
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()
find_program(DESKTOP_FILE_VALIDATE desktop-file-validate)
if(DESKTOP_FILE_VALIDATE)
    execute_process(COMMAND ${DESKTOP_FILE_VALIDATE} "${prefix}/share/applications/sonorelle.desktop"
                    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0 OR output MATCHES "error")
        message(FATAL_ERROR "desktop-file-validate: ${output}")
    endif()
endif()
find_program(APPSTREAMCLI appstreamcli)
if(APPSTREAMCLI)
    execute_process(COMMAND ${APPSTREAMCLI} validate --no-net "${prefix}/share/metainfo/org.sonorelle.Sonorelle.metainfo.xml"
                    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "appstreamcli validate: ${output}")
    endif()
endif()
file(REMOVE_RECURSE "${prefix}")
