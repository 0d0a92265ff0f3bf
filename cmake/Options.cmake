# What a build may be asked for. Presets set these; see CMakePresets.json.
option(IPLIB_BENCH "Build the benchmarks" OFF)
option(IPLIB_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
option(IPLIB_COVERAGE "Count what the unit tests of the library execute (g++ only)" OFF)
set(IPLIB_SANITIZE "" CACHE STRING "Sanitizers for everything built, as given to -fsanitize=")

set(IPLIB_MODEL_SCENARIOS 2000 CACHE STRING "Random scenarios that are replayed and compared with the model")

# What is slow or special to build brings only the tests that need it: fuzzing the fuzz targets,
# ThreadSanitizer the modules that know threads.
set(IPLIB_UNIT_TESTS all)
if(IPLIB_FUZZ)
  set(IPLIB_UNIT_TESTS none)
elseif(IPLIB_SANITIZE STREQUAL "thread")
  set(IPLIB_UNIT_TESTS threads)
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_library(iplib_options INTERFACE)
target_compile_options(iplib_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(IPLIB_SANITIZE)
  add_compile_options(-fsanitize=${IPLIB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${IPLIB_SANITIZE})
endif()
if(IPLIB_COVERAGE)
  # Tests use threads, so the counters are atomic. Paths are absolute because the data of one header
  # comes from many build folders.
  add_compile_options(--coverage -fprofile-update=atomic -fprofile-abs-path)
  add_link_options(--coverage)
endif()
