# g++ 12 destroys a lambda or aggregate temporary made inside a co_await expression twice
# (a use-after-free that surfaces far away). This check fails the suite when a lambda is
# written inside a co_await expression: name it first, then await.
file(GLOB_RECURSE sources "${SOURCE_ROOT}/VelmoCore/*.cpp" "${SOURCE_ROOT}/VelmoCore/*.h"
                          "${SOURCE_ROOT}/Sonorelle/*.cpp" "${SOURCE_ROOT}/Sonorelle/*.h"
                          "${SOURCE_ROOT}/cli/*.cpp" "${SOURCE_ROOT}/cli/*.h"
                          "${SOURCE_ROOT}/tests/*.cpp" "${SOURCE_ROOT}/tests/*.h")
set(offences "")
foreach(source IN LISTS sources)
    file(STRINGS "${source}" lines)
    set(previous "")
    set(number 0)
    foreach(line IN LISTS lines)
        math(EXPR number "${number} + 1")
        if(line MATCHES "^[ ]*//")
            continue()
        endif()
        string(REGEX MATCH "co_await[^;]*\\[[^]]*\\][ ]*(\\(|\\{|mutable)" inline "${line}")
        set(continued FALSE)
        if(previous MATCHES "co_await[^;]*\\($" AND line MATCHES "^[ ]*\\[[^]]*\\][ ]*(\\(|\\{|mutable)")
            set(continued TRUE)
        endif()
        if(inline OR continued)
            file(RELATIVE_PATH where "${SOURCE_ROOT}" "${source}")
            string(APPEND offences "  ${where}:${number}: ${line}\n")
        endif()
        set(previous "${line}")
    endforeach()
endforeach()
if(offences)
    message(FATAL_ERROR "Lambdas inside co_await expressions (name them first):\n${offences}")
endif()
