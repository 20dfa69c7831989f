# What every target of the project shares.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(THREADS_PREFER_PTHREAD_FLAG ON)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)  # what is not installed need not be built for a package

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

add_library(tolvane_flags INTERFACE)
target_include_directories(tolvane_flags INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(tolvane_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                                               -Wold-style-cast -Wimplicit-fallthrough)
# What harms the memory of a program that meets hostile files and messages ends it instead; tests/hardening.py reads it off
# the binaries. The sanitizers check the library's calls themselves.
target_compile_options(tolvane_flags INTERFACE -fstack-protector-strong -fstack-clash-protection)
target_link_options(tolvane_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack -pie)
if(NOT TOLVANE_SANITIZERS)
  target_compile_options(tolvane_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>)
endif()
if(TOLVANE_SANITIZERS)
  target_compile_options(tolvane_flags INTERFACE -fsanitize=${TOLVANE_SANITIZERS} -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
  target_link_options(tolvane_flags INTERFACE -fsanitize=${TOLVANE_SANITIZERS})
  # What the tests themselves do is checked for memory errors and races only: with the checks for undefined behaviour,
  # which the code under test keeps, their sources take nearly twice as long to compile.
  target_compile_options(tolvane_flags INTERFACE $<$<BOOL:$<TARGET_PROPERTY:TOLVANE_TEST>>:-fno-sanitize=undefined>)
endif()

# Sources of one folder are compiled together, several to a unit: headers are read and templates instantiated once a unit.
# The 13 tests of the engine so take 29 s of processor time instead of 64. In return, names in unnamed namespaces are
# unique in a folder. A build with TOLVANE_UNITY=OFF (the preset `dev`) compiles each source by itself, which is quicker
# after a small change.
set(CMAKE_UNITY_BUILD ${TOLVANE_UNITY})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)
if(TOLVANE_UNITY)
  # A test's own names may hide those of another test's file.
  target_compile_options(tolvane_flags INTERFACE $<$<BOOL:$<TARGET_PROPERTY:TOLVANE_TEST>>:-Wno-shadow>)
endif()

# tolvane_library(NAME SOURCES … LINK …): a static library of this folder.
function(tolvane_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC tolvane_flags ${arg_LINK} PRIVATE ${arg_PRIVATE})
endfunction()

# tolvane_program(NAME SOURCES … LINK …): a program in bin/.
function(tolvane_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE tolvane_flags ${arg_LINK})
endfunction()

# tolvane_test(NAME SOURCES … LINK … LABELS … TIMEOUT … ONE_THREAD NOT_OFF_THE_SCREEN …): a GoogleTest program whose tests
# CTest knows one by one. Under a sanitizer CTest knows the program only: there a process takes 0.3 s to start.
#   ONE_THREAD          it starts no second thread, which the plain build enforces: it is not built to look for data races
#   NOT_OFF_THE_SCREEN  tests that need an X server, as a pattern of GoogleTest: CTest does not run them one by one
function(tolvane_test name)
  cmake_parse_arguments(arg "ONE_THREAD" "TIMEOUT;NOT_OFF_THE_SCREEN" "SOURCES;LINK;LABELS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES TOLVANE_TEST ON)
  target_link_libraries(${name} PRIVATE tolvane_flags ${arg_LINK} GTest::gmock_main)
  if(TOLVANE_SANITIZERS)
    if(arg_ONE_THREAD AND TOLVANE_SANITIZERS MATCHES thread)
      set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    else()
      foreach(shard 1 2)  # of about the same length, for two processors
        add_test(NAME ${name}_${shard} COMMAND ${name} --gtest_brief=1)
        math(EXPR index "${shard} - 1")
        set_tests_properties(${name}_${shard} PROPERTIES TIMEOUT 2400 LABELS unit
                                                         ENVIRONMENT "GTEST_TOTAL_SHARDS=2;GTEST_SHARD_INDEX=${index}")
      endforeach()
    endif()
    return()
  endif()
  if(arg_ONE_THREAD)
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/support/OneThread.cpp)
  endif()
  if(arg_NOT_OFF_THE_SCREEN)
    set(filter TEST_FILTER -${arg_NOT_OFF_THE_SCREEN})
  endif()
  gtest_discover_tests(${name} ${filter} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS unit)
  if(arg_LABELS)
    # Set when CTest reads the tests: gtest_discover_tests would make properties of a list's members.
    set(labels_file ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
    file(WRITE ${labels_file} "set_tests_properties(\${${name}_TESTS} PROPERTIES LABELS \"unit;${arg_LABELS}\")\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels_file})
  endif()
endfunction()

# tolvane_compile_qml_together(NAME): what the QML compiler writes for a module becomes a few units instead of one a
# component, each of which would read the same headers again. None of it is ours to warn of.
function(tolvane_compile_qml_together name)
  get_target_property(sources ${name} SOURCES)
  set(written ${sources})
  list(FILTER written INCLUDE REGEX "qmlcache_loader|qmltyperegistrations")
  set(components ${sources})
  list(FILTER components INCLUDE REGEX "_qml\\.cpp$")
  set_source_files_properties(${components} PROPERTIES HEADER_FILE_ONLY ON)
  set(part 0)
  while(components)
    list(SUBLIST components 0 12 batch)
    list(REMOVE_ITEM components ${batch})
    list(TRANSFORM batch REPLACE "(.+)" "#include \"\\1\"\n")
    list(JOIN batch "" includes)
    set(unit ${CMAKE_CURRENT_BINARY_DIR}/${name}_components_${part}.cpp)
    file(CONFIGURE OUTPUT ${unit} CONTENT "${includes}" @ONLY)
    list(APPEND written ${unit})
    target_sources(${name} PRIVATE ${unit})
    math(EXPR part "${part} + 1")
  endwhile()
  set_source_files_properties(${written} PROPERTIES COMPILE_OPTIONS -w SKIP_AUTOMOC ON)
endfunction()
