# One folder, one target, iplib_<NAME>. A module sees the headers of its own folder, of the modules it
# names in DEPENDS and of what those build on, and of nothing else: each target brings an include
# directory that holds only its own folder, so an include that runs upwards does not compile. Who uses
# the library links what cmake/Library.cmake makes of modules.
#
#   iplib_module(NAME nimb FOLDER Nimb DEPENDS iplib_zin [LIBRARIES fmt::fmt]
#                [TEST_DEPENDS iplib_test_kit] [THREADS IntfIdTest.cpp] [PRIVATE Tables.h])
#
# FOLDER is the folder as it is written in #include lines. *Test.cpp become the test program
# <NAME>_test; every other *.cpp goes into the module, except main.cpp, which is a program's own.
# PRIVATE: headers that who uses the library does not see; or all but those that PUBLIC names. Nor does
# he see those of tests, Test*.h.
# THREADS: those of its tests that use threads, and run under ThreadSanitizer too.
# APART: files that cannot be compiled together with others of the folder (see IPLIB_TOGETHER): those
# whose unnamed namespace is used outside of it, or has a function that others find by its argument.
function(iplib_module)
  cmake_parse_arguments(ARG "" "NAME;FOLDER" "DEPENDS;LIBRARIES;TEST_DEPENDS;THREADS;APART;PRIVATE;PUBLIC" ${ARGN})
  set(target iplib_${ARG_NAME})
  set(include_root ${PROJECT_BINARY_DIR}/include/${ARG_NAME})
  get_filename_component(parent ${include_root}/${ARG_FOLDER} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${ARG_FOLDER} SYMBOLIC)

  file(GLOB sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  set(tests ${sources})
  list(FILTER sources EXCLUDE REGEX "(^main|Test)\\.cpp$")
  list(FILTER tests INCLUDE REGEX "Test\\.cpp$")

  # Where only some tests are built, so is only what they need.
  set(on_demand "")
  if(NOT IPLIB_WHOLE)
    set(on_demand EXCLUDE_FROM_ALL)
  endif()
  if(sources)
    add_library(${target} STATIC ${on_demand} ${sources})
    set(reach PUBLIC)
    target_link_libraries(${target} PUBLIC ${ARG_DEPENDS} ${ARG_LIBRARIES} PRIVATE iplib_options)
  else()
    add_library(${target} INTERFACE)
    target_link_libraries(${target} INTERFACE ${ARG_DEPENDS} ${ARG_LIBRARIES})
    set(reach INTERFACE)
  endif()
  target_include_directories(${target} ${reach} ${include_root})
  # What is hidden is cmake/exports.map's to say, wherever the project is built.
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default VISIBILITY_INLINES_HIDDEN OFF)
  iplib_compile_together(${target} ${ARG_APART})
  file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  list(FILTER headers EXCLUDE REGEX "^Test[A-Z]")
  list(REMOVE_ITEM headers ${ARG_PRIVATE} "")
  if(ARG_PUBLIC)
    set(headers ${ARG_PUBLIC})
  endif()
  list(TRANSFORM headers PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_target_properties(${target} PROPERTIES IPLIB_FOLDER ${ARG_FOLDER} IPLIB_HEADERS "${headers}")

  if(NOT IPLIB_UNIT_TESTS MATCHES "^(all|program)$")
    set(tests "")
    if(IPLIB_UNIT_TESTS STREQUAL "threads")
      set(tests ${ARG_THREADS})
    endif()
  endif()
  if(IPLIB_TESTS AND tests)
    iplib_test_program(${ARG_NAME}_test SOURCES ${tests} APART ${ARG_APART})
    target_link_libraries(${ARG_NAME}_test PRIVATE ${target} ${ARG_TEST_DEPENDS} GTest::gmock_main iplib_options)
    # Full optimisation of tests takes its time. It is left to what is shipped and measured: templates
    # are fully optimised where the modules and the benchmarks use them.
    target_compile_options(${ARG_NAME}_test PRIVATE $<$<CONFIG:Release>:-O1>)
    iplib_test(${ARG_NAME} ${ARG_NAME}_test)
  endif()
endfunction()

# A program of SOURCES, several compiled as one but for those of APART; *Test.cpp have their unnamed
# namespaces to themselves.
function(iplib_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;APART")
  set(tests ${ARG_SOURCES})
  list(FILTER tests INCLUDE REGEX "Test\\.cpp$")
  list(REMOVE_ITEM tests ${ARG_APART} "")
  list(REMOVE_ITEM ARG_SOURCES ${tests} "")
  iplib_together(together ${tests})
  add_executable(${name} ${together} ${ARG_SOURCES})
  iplib_compile_together(${name} ${together} ${ARG_APART})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# Compiles a target's sources several as one, save those that follow its name.
function(iplib_compile_together target)
  if(IPLIB_TOGETHER)
    # Each source has a registration of its types, which may keep the name that it has.
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${IPLIB_TOGETHER}
      UNITY_BUILD_UNIQUE_ID registration)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()

# Adds a test that runs the command that follows its name. What hangs is stopped, after a minute where
# the build does not say otherwise; a test that needs longer sets its own TIMEOUT.
function(iplib_test name)
  add_test(NAME ${name} COMMAND ${ARGN})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${IPLIB_TEST_TIMEOUT})
  if(IPLIB_COVERAGE)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT
      LLVM_PROFILE_FILE=${PROJECT_BINARY_DIR}/profiles/${name}-%m.profraw)
  endif()
endfunction()

# Replaces a list of tests by fewer sources that hold them all: see IPLIB_TOGETHER.
function(iplib_together result)
  set(sources "")
  set(number 0)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE files)
  while(files AND IPLIB_TOGETHER)
    list(SUBLIST files 0 ${IPLIB_TOGETHER} batch)
    list(REMOVE_ITEM files ${batch})
    set(joined ${CMAKE_CURRENT_BINARY_DIR}/Tests${number}.cpp)
    add_custom_command(OUTPUT ${joined} COMMENT "Joining tests in ${joined}" VERBATIM
      COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/cmake/join-tests ${joined} ${batch}
      DEPENDS ${batch} ${PROJECT_SOURCE_DIR}/cmake/join-tests)
    list(APPEND sources ${joined})
    math(EXPR number "${number} + 1")
  endwhile()
  set(${result} ${sources} ${files} PARENT_SCOPE)
endfunction()
