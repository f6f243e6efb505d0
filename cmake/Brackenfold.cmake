# Settings that every target of ours shares. Third-party code is not built with them.
add_library(bkfd_options INTERFACE)
target_compile_options(bkfd_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow;-Werror>)
# GCC 12 reports overlapping copies inside the concatenation of std::basic_string where there are none
# (GCC bug 105651).
target_compile_options(bkfd_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
target_include_directories(bkfd_options INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
if(BKFD_SANITIZE)
  target_compile_options(bkfd_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1
    $<IF:$<BOOL:$<TARGET_PROPERTY:BKFD_IS_TEST>>,-O0,-O1>)  # tests compile in half the time
  target_link_options(bkfd_options INTERFACE -fsanitize=address,undefined)
endif()
if(WIN32)
  # Old systems are wanted: the API level is Windows 95's; later calls are looked up at run time.
  target_compile_definitions(bkfd_options INTERFACE WINVER=0x0400 _WIN32_WINNT=0x0500 _WIN32_IE=0x0500)
endif()

# bkfd_library(NAME SOURCES ... DEPENDS ...): the library of one folder. DEPENDS names the folders
# below it; tools/check_layers.py checks the includes against the same order.
function(bkfd_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC bkfd_options ${ARG_DEPENDS})
endfunction()

# bkfd_test(NAME SOURCES ... DEPENDS ...): a GoogleTest program, run by ctest as a whole.
function(bkfd_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE bkfd_options ${ARG_DEPENDS} gmock_main)
  target_compile_definitions(${name} PRIVATE BKFD_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set_target_properties(${name} PROPERTIES BKFD_IS_TEST ON)
  if(NOT WIN32)
    add_test(NAME ${name} COMMAND ${name})
  endif()
endfunction()
