# Shared compile settings and the three kinds of target of this tree.

add_library(lcfwd_settings INTERFACE)
target_compile_features(lcfwd_settings INTERFACE cxx_std_20)
target_include_directories(lcfwd_settings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(lcfwd_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fno-strict-aliasing -fno-omit-frame-pointer)
if(LCFWD_SANITIZE)
    # Recovery is off: the first report fails the test that caused it.
    target_compile_options(lcfwd_settings INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all)
    target_link_options(lcfwd_settings INTERFACE -fsanitize=address,undefined)
endif()
if(LCFWD_COVERAGE)
    target_compile_options(lcfwd_settings INTERFACE --coverage)
    target_link_options(lcfwd_settings INTERFACE --coverage)
endif()
if(LCFWD_FUZZ)
    target_compile_options(lcfwd_settings INTERFACE -fsanitize=fuzzer-no-link,address,undefined)
    target_link_options(lcfwd_settings INTERFACE -fsanitize=address,undefined)
endif()

# Product code adds: no exceptions, no RTTI (the sanitizer's vptr check needs RTTI and is off with it).
add_library(lcfwd_product_settings INTERFACE)
target_link_libraries(lcfwd_product_settings INTERFACE lcfwd_settings)
target_compile_options(lcfwd_product_settings INTERFACE -fno-exceptions -fno-rtti)

# lcfwd_host(<name> SOURCES ... [DEPENDS host names...]): one host service, library lcfwd_host_<name>.
function(lcfwd_host name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
    add_library(lcfwd_host_${name} STATIC ${ARG_SOURCES})
    target_link_libraries(lcfwd_host_${name} PRIVATE lcfwd_product_settings)
    target_include_directories(lcfwd_host_${name} PUBLIC ${PROJECT_SOURCE_DIR})
    foreach(dep IN LISTS ARG_DEPENDS)
        target_link_libraries(lcfwd_host_${name} PUBLIC lcfwd_host_${dep})
    endforeach()
    set_property(GLOBAL APPEND PROPERTY LCFWD_HOST_LIBS lcfwd_host_${name})
endfunction()

# lcfwd_part(<name> <sources...>): one product folder. The folders refer to each other in both directions
# (the core calls a domain's handlers, the domain calls the core), so they are objects of one library.
function(lcfwd_part name)
    add_library(lcfwd_part_${name} OBJECT ${ARGN})
    target_link_libraries(lcfwd_part_${name} PRIVATE lcfwd_product_settings)
    set_property(GLOBAL APPEND PROPERTY LCFWD_PARTS lcfwd_part_${name})
endfunction()

# lcfwd_test(<name> SOURCES ... LIBS ... [LABELS ...] [ENVIRONMENT NAME=value]): one GoogleTest binary, each test known
# to ctest by its own name.
function(lcfwd_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS;ENVIRONMENT" ${ARGN})
    if(NOT LCFWD_TESTS)
        return()
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE lcfwd_settings ${ARG_LIBS} GTest::gtest GTest::gtest_main)
    if(LCFWD_SANITIZE)
        # Product archives carry no type information.
        target_compile_options(${name} PRIVATE -fno-sanitize=vptr)
    endif()
    set(properties TIMEOUT 300)
    if(ARG_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${ARG_ENVIRONMENT}")
    endif()
    gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60
        PROPERTIES ${properties} LABELS "${ARG_LABELS}")
endfunction()

# lcfwd_test_across_restarts(<test binaries...>): registers their tests once more, with the process dying and coming
# back between any two steps; tests/restart_exceptions.txt lists those that cannot.
function(lcfwd_test_across_restarts)
    if(NOT LCFWD_TESTS)
        return()
    endif()
    set(list ${PROJECT_SOURCE_DIR}/tests/restart_exceptions.txt)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
    file(STRINGS ${list} lines REGEX "^[^#]")
    foreach(name IN LISTS ARGN)
        set(filter "")
        foreach(line IN LISTS lines)
            if(line MATCHES "^${name} +([^ ]+)$")
                string(APPEND filter ":${CMAKE_MATCH_1}")
            endif()
        endforeach()
        string(REGEX REPLACE "^:" "-" filter "${filter}")
        gtest_discover_tests(${name} TEST_PREFIX ${name}.restarted. TEST_FILTER "${filter}" DISCOVERY_TIMEOUT 60
            PROPERTIES TIMEOUT 300 LABELS restarted ENVIRONMENT LCFWD_RESTART_EACH_STEP=1)
    endforeach()
endfunction()
