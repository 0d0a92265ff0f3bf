# One library of several modules, as it is linked by who uses it and installed:
#
#   iplib_library(NAME Router OF iplib_router iplib_repair [DEPENDS IpLib::IpLib])
#
# makes IpLib::<NAME>, static or shared as BUILD_SHARED_LIBS says. It brings the headers of its
# modules, save those that are private to them, below one include folder, and needs C++20. VERSION: with
# IpLib/Version.h.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(IPLIB_INCLUDE_FOLDER ${CMAKE_INSTALL_INCLUDEDIR}/iplib)

# install(), where the library is installed at all.
function(iplib_install)
  if(IPLIB_INSTALL)
    install(${ARGV})
  endif()
endfunction()

function(iplib_library)
  cmake_parse_arguments(ARG "VERSION" "NAME" "OF;DEPENDS" ${ARGN})
  string(TOLOWER ${ARG_NAME} lower)
  set(target iplib_lib_${lower})
  set(visible ${PROJECT_BINARY_DIR}/visible/${lower})
  file(REMOVE_RECURSE ${visible})

  # Where only some tests are built, so is only what they need.
  set(on_demand "")
  if(NOT IPLIB_WHOLE)
    set(on_demand EXCLUDE_FROM_ALL)
  endif()
  add_library(${target} ${on_demand})
  add_library(IpLib::${ARG_NAME} ALIAS ${target})
  foreach(module ${ARG_OF})
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${module}>)
    get_target_property(folder ${module} IPLIB_FOLDER)
    get_target_property(headers ${module} IPLIB_HEADERS)
    file(MAKE_DIRECTORY ${visible}/${folder})
    foreach(header ${headers})
      get_filename_component(name ${header} NAME)
      file(CREATE_LINK ${header} ${visible}/${folder}/${name} SYMBOLIC)
    endforeach()
    iplib_install(FILES ${headers} DESTINATION ${IPLIB_INCLUDE_FOLDER}/${folder} COMPONENT development)
  endforeach()

  if(ARG_VERSION)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.h.in ${visible}/IpLib/Version.h @ONLY)
    iplib_install(FILES ${visible}/IpLib/Version.h DESTINATION ${IPLIB_INCLUDE_FOLDER}/IpLib COMPONENT development)
  endif()
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${visible}> $<INSTALL_INTERFACE:${IPLIB_INCLUDE_FOLDER}>)
  target_link_libraries(${target} PUBLIC fmt::fmt ${ARG_DEPENDS})
  set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  target_link_options(${target} PRIVATE LINKER:--version-script=${exports})
  if(lower STREQUAL iplib)
    set(output iplib)
  else()
    set(output iplib-${lower})
  endif()
  set_target_properties(${target} PROPERTIES
    LINK_DEPENDS ${exports} EXPORT_NAME ${ARG_NAME} OUTPUT_NAME ${output} LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  iplib_install(TARGETS ${target} EXPORT IpLib
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development ARCHIVE COMPONENT development)
endfunction()

# A folder as pkg-config is told of it: below the prefix, save where it is absolute.
function(iplib_pc_folder variable folder)
  if(NOT IS_ABSOLUTE ${folder})
    string(PREPEND folder "\${prefix}/")
  endif()
  set(${variable} ${folder} PARENT_SCOPE)
endfunction()

# What find_package(IpLib) and pkg-config read. Comes after the libraries.
function(iplib_package)
  set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/IpLib)
  set(made ${PROJECT_BINARY_DIR}/package)
  write_basic_package_version_file(${made}/IpLibConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/IpLibConfig.cmake.in ${made}/IpLibConfig.cmake
    INSTALL_DESTINATION ${folder} NO_SET_AND_CHECK_MACRO)
  install(FILES ${made}/IpLibConfig.cmake ${made}/IpLibConfigVersion.cmake DESTINATION ${folder}
    COMPONENT development)
  install(EXPORT IpLib NAMESPACE IpLib:: FILE IpLibTargets.cmake DESTINATION ${folder}
    COMPONENT development)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(IPLIB_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
  else()
    # From where they are installed to the prefix, wherever that is by then.
    file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(REGEX REPLACE "/$" "" up ${up})
    set(IPLIB_PC_PREFIX "\${pcfiledir}/${up}")
  endif()
  iplib_pc_folder(IPLIB_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
  iplib_pc_folder(IPLIB_PC_INCLUDEDIR ${IPLIB_INCLUDE_FOLDER})
  foreach(name iplib iplib-router)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${made}/${name}.pc @ONLY)
    install(FILES ${made}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  endforeach()
endfunction()
