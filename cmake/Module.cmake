# One folder, one target. A module sees the headers of its own folder, of the modules it names in
# DEPENDS and of what those build on, and of nothing else: each target brings an include directory
# that holds only its own folder, so an include that runs upwards does not compile.
#
#   iplib_module(NAME nimb FOLDER Nimb DEPENDS zin [LIBRARIES fmt::fmt] [TEST_DEPENDS test_kit]
#                [THREADS])
#
# FOLDER is the folder as it is written in #include lines. *Test.cpp become the test program
# <NAME>_test; every other *.cpp goes into the module, except main.cpp, which is a program's own.
# THREADS: its tests use threads, so they run under ThreadSanitizer too.
function(iplib_module)
  cmake_parse_arguments(ARG "THREADS" "NAME;FOLDER" "DEPENDS;LIBRARIES;TEST_DEPENDS" ${ARGN})
  set(include_root ${CMAKE_BINARY_DIR}/include/${ARG_NAME})
  get_filename_component(parent ${include_root}/${ARG_FOLDER} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${ARG_FOLDER} SYMBOLIC)

  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  set(tests ${sources})
  list(FILTER sources EXCLUDE REGEX "(Test|/main)\\.cpp$")
  list(FILTER tests INCLUDE REGEX "Test\\.cpp$")

  # Where only some tests are built, so is only what they need.
  set(on_demand "")
  if(NOT IPLIB_UNIT_TESTS STREQUAL "all")
    set(on_demand EXCLUDE_FROM_ALL)
  endif()
  if(sources)
    add_library(${ARG_NAME} STATIC ${on_demand} ${sources})
    set(reach PUBLIC)
    target_link_libraries(${ARG_NAME} PUBLIC ${ARG_DEPENDS} ${ARG_LIBRARIES} PRIVATE iplib_options)
  else()
    add_library(${ARG_NAME} INTERFACE)
    target_link_libraries(${ARG_NAME} INTERFACE ${ARG_DEPENDS} ${ARG_LIBRARIES})
    set(reach INTERFACE)
  endif()
  target_include_directories(${ARG_NAME} ${reach} ${include_root})
  if(IPLIB_COVERAGE)
    # What was executed is reported of the headers where they are, not of the links to them.
    target_compile_options(${ARG_NAME} ${reach}
      -fprofile-prefix-map=${include_root}/${ARG_FOLDER}=${CMAKE_CURRENT_SOURCE_DIR})
  endif()

  if(NOT (IPLIB_UNIT_TESTS STREQUAL "all" OR (IPLIB_UNIT_TESTS STREQUAL "threads" AND ARG_THREADS)))
    set(tests "")
  endif()
  if(BUILD_TESTING AND tests)
    add_executable(${ARG_NAME}_test ${tests})
    target_link_libraries(${ARG_NAME}_test PRIVATE ${ARG_NAME} ${ARG_TEST_DEPENDS} GTest::gmock_main iplib_options)
    # Full optimisation of tests takes its time. It is left to what is shipped and measured: templates
    # are fully optimised where the modules and the benchmarks use them.
    target_compile_options(${ARG_NAME}_test PRIVATE $<$<CONFIG:Release>:-O1>)
    add_test(NAME ${ARG_NAME} COMMAND ${ARG_NAME}_test)
  endif()
endfunction()
