cmake_minimum_required(VERSION 3.25)

# The core is built in floors: operating-system seams at the bottom, the record spine above
# them, the subsystems above that and the Library facade on top. A file may include its own
# folder, any folder on a lower floor, and a subsystem beside its own only where the domain
# needs it (the list below). In the application, shared widgets include no screen.
set(floor_platform 0)
set(floor_library 1)
foreach(subsystem metadata playlists podcasts disc sync updates)
    set(floor_${subsystem} 2)
endforeach()
set(floor_facade 3)
# A rip looks discs up; a sync carries playlists and episodes; the podcast and update checks
# talk through the metadata side's HTTP client and service addresses.
set(sideways "disc>metadata" "sync>playlists" "sync>podcasts" "podcasts>metadata" "updates>metadata")

set(offences "")
file(GLOB_RECURSE core RELATIVE "${SOURCE_ROOT}/VelmoCore" "${SOURCE_ROOT}/VelmoCore/*.cpp" "${SOURCE_ROOT}/VelmoCore/*.h")
foreach(source IN LISTS core)
    string(REGEX REPLACE "/.*" "" from "${source}")
    if(NOT DEFINED floor_${from})
        string(APPEND offences "\n  VelmoCore/${source}: in no floor (add its folder to tests/IncludeFloors.cmake)")
        continue()
    endif()
    file(STRINGS "${SOURCE_ROOT}/VelmoCore/${source}" includes REGEX "^#include \"[a-z]+/")
    foreach(line IN LISTS includes)
        string(REGEX REPLACE "^#include \"([a-z]+)/.*" "\\1" to "${line}")
        if(to STREQUAL from OR NOT DEFINED floor_${to})
            continue()
        endif()
        if(floor_${to} LESS floor_${from})
            continue()
        endif()
        if(floor_${to} EQUAL floor_${from} AND "${from}>${to}" IN_LIST sideways)
            continue()
        endif()
        string(APPEND offences "\n  VelmoCore/${source}: ${line} (${from} may not include ${to})")
    endforeach()
endforeach()

file(GLOB widgets RELATIVE "${SOURCE_ROOT}/Sonorelle/widgets" "${SOURCE_ROOT}/Sonorelle/widgets/*")
foreach(source IN LISTS widgets)
    file(STRINGS "${SOURCE_ROOT}/Sonorelle/widgets/${source}" includes REGEX "^#include \"[a-z]+/")
    foreach(line IN LISTS includes)
        string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" header "${line}")
        if(EXISTS "${SOURCE_ROOT}/Sonorelle/${header}" AND NOT header MATCHES "^widgets/")
            string(APPEND offences "\n  Sonorelle/widgets/${source}: ${line} (a widget includes no screen)")
        endif()
    endforeach()
endforeach()

if(NOT offences STREQUAL "")
    message(FATAL_ERROR "Includes that run up a floor:${offences}")
endif()
