# What a build may be asked for. Presets set these; see CMakePresets.json. Another project that has this
# one in a subdirectory gets the library alone, which needs nothing but fmt.
option(IPLIB_PROGRAM "Build the program intfaddr, and the feeds that it reads" ${PROJECT_IS_TOP_LEVEL})
option(IPLIB_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(IPLIB_BENCH "Build the benchmarks, which need the program" OFF)
option(IPLIB_FUZZ "Build the fuzz targets with libFuzzer (clang only), which need the program" OFF)
option(IPLIB_INSTALL "Install the library" ${PROJECT_IS_TOP_LEVEL})
option(IPLIB_COVERAGE "Count what the unit tests of the library execute (clang only)" OFF)
set(IPLIB_SANITIZE "" CACHE STRING "Sanitizers for everything built, as given to -fsanitize=")
set(IPLIB_SANITIZE_NOT "" CACHE STRING "Checks of theirs to leave out, as given to -fno-sanitize=")

set(IPLIB_MODEL_SCENARIOS 1000 CACHE STRING "Random scenarios that are replayed and compared with the model")
set(IPLIB_NESTED_LISTS 20000 CACHE STRING "Random lists of changes that an observer makes within a notification")
set(IPLIB_HEAL_SCENARIOS 5000 CACHE STRING "Random scenarios after which a router that repairs itself is right")
set(IPLIB_AGENT_HISTORIES 2000 CACHE STRING "Random histories of a kernel after which an agent is right")

set(IPLIB_TEST_TIMEOUT 60 CACHE STRING "Seconds after which a test that does not end has failed")

# Unit tests are those of single folders. Where they are only those that use threads, or there for what
# fuzz targets need, nothing else is built.
set(IPLIB_UNIT_TESTS all CACHE STRING
  "Which unit tests to build: all, program (not those of the library), none, threads or fuzz")
set(IPLIB_WHOLE OFF)
if(IPLIB_UNIT_TESTS MATCHES "^(all|program|none)$")
  set(IPLIB_WHOLE ON)
endif()

# Most of the time of a build goes into what many files include and instantiate. 0 compiles each file
# by itself.
set(IPLIB_TOGETHER 10 CACHE STRING "How many files of a folder are compiled as one, at most")
set(CMAKE_UNITY_BUILD OFF)  # As the project around this one may have it.

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_library(iplib_options INTERFACE)
target_compile_options(iplib_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(PROJECT_IS_TOP_LEVEL AND IPLIB_TESTS)
  # Another compiler's warnings, or another level of optimisation's, are no reason for the build of who
  # only uses the library to fail.
  target_compile_options(iplib_options INTERFACE -Werror)
endif()
if(IPLIB_TOGETHER)
  # clang would take a variable of one file's unnamed namespace for shadowed by another file's
  # parameter. scripts/check-includes warns, a file at a time.
  target_compile_options(iplib_options INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-shadow>)
endif()
if(IPLIB_SANITIZE)
  add_compile_options(-fsanitize=${IPLIB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${IPLIB_SANITIZE})
  if(IPLIB_SANITIZE_NOT)
    add_compile_options(-fno-sanitize=${IPLIB_SANITIZE_NOT})
  endif()
endif()
if(IPLIB_COVERAGE)
  # Tests use threads, so the counters are atomic. What is theirs is not counted.
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping -fprofile-update=atomic
    -fprofile-list=${PROJECT_SOURCE_DIR}/cmake/coverage.list)
  add_link_options(-fprofile-instr-generate)
endif()
