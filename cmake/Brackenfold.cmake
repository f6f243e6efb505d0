# Settings that every target of ours shares. Third-party code is not built with them.
add_library(bkfd_options INTERFACE)
target_compile_options(bkfd_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow;-Werror>)
# GCC 12 reports overlapping copies inside the concatenation of std::basic_string where there are none
# (GCC bug 105651), and members of an empty std::optional as uninitialised (GCC bug 80635).
target_compile_options(bkfd_options INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict;-Wno-maybe-uninitialized>)
target_include_directories(bkfd_options INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/generated)
if(BKFD_SANITIZE)
  target_compile_options(bkfd_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1
    $<IF:$<BOOL:$<TARGET_PROPERTY:BKFD_IS_OPTIMISED>>,-O2,-O0>)
  target_link_options(bkfd_options INTERFACE -fsanitize=address,undefined)
endif()
if(BKFD_FUZZ)
  # Signed overflow and the like end a run too, and libFuzzer sees each edge that an input takes.
  target_compile_options(bkfd_options INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -g1 -O2)
  target_link_options(bkfd_options INTERFACE -fsanitize=address,undefined)
endif()
if(WIN32)
  # Old systems are wanted: the API level is Windows 95's; later calls are looked up at run time.
  target_compile_definitions(bkfd_options INTERFACE WINVER=0x0400 _WIN32_WINNT=0x0500 _WIN32_IE=0x0500)
  # What nothing uses of the C++ library stays out of the programs. Sections of our own functions save
  # nothing: each is kept by its unwind information.
  target_link_options(bkfd_options INTERFACE -Wl,--gc-sections)
endif()

# bkfd_library(NAME [OBJECT] SOURCES ... DEPENDS ...): the library of one folder. DEPENDS names the
# libraries that it rests on; tools/check_layers.py holds its includes against that.
function(bkfd_library name)
  cmake_parse_arguments(ARG "OBJECT" "" "SOURCES;DEPENDS" ${ARGN})
  set(kind STATIC)
  if(ARG_OBJECT)
    set(kind OBJECT)
  endif()
  add_library(${name} ${kind} ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC bkfd_options ${ARG_DEPENDS})
  bkfd_precompile(${name} bkfd_headers)
endfunction()

# bkfd_precompile(NAME HEADERS): in the build with sanitizers, which would else spend a third of its time
# on the same headers again and again. The optimised build shows that each file includes what it needs.
function(bkfd_precompile name headers)
  if(BKFD_SANITIZE)
    target_precompile_headers(${name} REUSE_FROM ${headers})
  endif()
endfunction()

# bkfd_header_library(NAME HEADER...): has the headers precompiled for `bkfd_precompile`.
function(bkfd_header_library name)
  if(BKFD_SANITIZE)
    file(WRITE ${PROJECT_BINARY_DIR}/${name}.cpp "// A library needs a source.\n")
    add_library(${name} STATIC ${PROJECT_BINARY_DIR}/${name}.cpp)
    target_link_libraries(${name} PRIVATE bkfd_options)
    target_precompile_headers(${name} PRIVATE ${ARGN})
  endif()
endfunction()

# bkfd_run_often(NAME...): these libraries are where the tests spend their time, so the build with
# sanitizers optimises them; all else compiles faster without.
function(bkfd_run_often)
  set_target_properties(${ARGN} PROPERTIES BKFD_IS_OPTIMISED ON)
  if(BKFD_SANITIZE)
    set_target_properties(${ARGN} PROPERTIES PRECOMPILE_HEADERS_REUSE_FROM bkfd_optimised_headers)
  endif()
endfunction()

# bkfd_test(NAME SOURCES ... DEPENDS ... [PARTS N]): a GoogleTest program, run by ctest as a whole. A
# program of long tests is optimised and run first, in N parts side by side, with shorter memory of who
# allocated what.
function(bkfd_test name)
  cmake_parse_arguments(ARG "" "PARTS" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE bkfd_options ${ARG_DEPENDS} gmock_main)
  target_compile_definitions(${name} PRIVATE BKFD_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  if(ARG_PARTS)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common/OptimisedTemplates.cpp)
    set_target_properties(${name} PROPERTIES BKFD_IS_OPTIMISED ON)
  else()
    bkfd_precompile(${name} bkfd_test_headers)
  endif()
  if(WIN32)
    return()
  elseif(NOT ARG_PARTS)
    add_test(NAME ${name} COMMAND ${name})
    return()
  endif()
  math(EXPR last "${ARG_PARTS} - 1")
  foreach(part RANGE ${last})
    add_test(NAME ${name}_${part} COMMAND ${name})
    set_tests_properties(${name}_${part} PROPERTIES COST 100
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${ARG_PARTS};GTEST_SHARD_INDEX=${part};ASAN_OPTIONS=malloc_context_size=1:quarantine_size_mb=4")
  endforeach()
endfunction()
