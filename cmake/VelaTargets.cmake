# The build rules every target shares, in one place.

add_library(vela_build_options INTERFACE)
target_compile_options(vela_build_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${VELA_WERROR}>:-Werror>
  # Fused multiply-adds would make clones for newer processors round differently.
  -ffp-contract=off)
target_compile_definitions(vela_build_options INTERFACE
  QT_NO_FOREACH QT_DISABLE_DEPRECATED_BEFORE=0x060400)
foreach(sanitizer IN LISTS VELA_SANITIZE)
  target_compile_options(vela_build_options INTERFACE
    -fsanitize=${sanitizer} -fno-omit-frame-pointer)
  target_link_options(vela_build_options INTERFACE -fsanitize=${sanitizer})
endforeach()
if("undefined" IN_LIST VELA_SANITIZE)
  target_compile_options(vela_build_options INTERFACE -fno-sanitize-recover=undefined)
endif()
if(VELA_BUILD_FUZZERS)
  target_compile_options(vela_build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(VELA_SANITIZE)
  # The calls between the statements make the compiler see memory used before it is set.
  target_compile_options(vela_build_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

# What every test's environment tells the sanitizers.
set(vela_sanitizer_environment)
if("thread" IN_LIST VELA_SANITIZE)
  # The packaged toolkit is not instrumented: its own locks are invisible, and
  # what it does to its own memory looks like a race. And a test that has started
  # a program (a sound server) goes on to start threads.
  set(vela_sanitizer_environment
    "TSAN_OPTIONS=ignore_noninstrumented_modules=1:die_after_fork=0")
endif()
if("address" IN_LIST VELA_SANITIZE)
  set(vela_sanitizer_environment
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/leaks.supp:print_suppressions=0"
    "UBSAN_OPTIONS=print_stacktrace=1")
endif()

# What every suite runs in.
set(vela_suite_environment
  "QT_QPA_PLATFORM=offscreen;QT_LOGGING_RULES=;${vela_sanitizer_environment}")

if(VELA_COVERAGE)
  # The counters between the statements make the compiler see pointers outlive what
  # the toolkit's comparing macros point them to.
  target_compile_options(vela_build_options INTERFACE --coverage -Wno-dangling-pointer)
  target_link_options(vela_build_options INTERFACE --coverage)
endif()

# vela_add_library(<name> HEADERS ... [SOURCES ...] [LINKS ...])
# One folder, one library. What is linked is all that the folder may include. The
# compiler would find more, as src is everybody's include directory: the test
# test_documents sees to it. Every header must compile alone (target
# all_verify_interface_header_sets).
function(vela_add_library name)
  cmake_parse_arguments(ARG "" "" "HEADERS;SOURCES;LINKS" ${ARGN})
  if(ARG_SOURCES)
    set(scope PUBLIC)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE vela_build_options)
  else()
    set(scope INTERFACE)
    add_library(${name} INTERFACE)
  endif()
  target_include_directories(${name} ${scope} ${PROJECT_SOURCE_DIR}/src)
  if(ARG_HEADERS)
    target_sources(${name} ${scope} FILE_SET HEADERS
      BASE_DIRS ${PROJECT_SOURCE_DIR}/src FILES ${ARG_HEADERS})
  endif()
  target_link_libraries(${name} ${scope} ${ARG_LINKS})
  set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()

# vela_add_test(<tst_class> [SOURCES ...] LINKS ... [LABEL unit|device] [TIMEOUT seconds])
# The source is <tst_class>.cpp beside the list file. Labels: "unit" needs no
# sound server and no display, "device" starts a private sound server.
function(vela_add_test name)
  cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LINKS" ${ARGN})
  if(NOT ARG_LABEL)
    set(ARG_LABEL unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${name}.cpp ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS} vela_test_support vela_build_options)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    LABELS ${ARG_LABEL}
    TIMEOUT ${ARG_TIMEOUT}
    ENVIRONMENT "${vela_suite_environment}")
endfunction()

# vela_add_doubled_test(<tst_class> [<test>...])
# A suite that there is already, or those of its tests, once more as <tst_class>_2x
# on a screen of twice the density.
function(vela_add_doubled_test name)
  add_test(NAME ${name}_2x COMMAND ${name} ${ARGN})
  set_tests_properties(${name}_2x PROPERTIES
    LABELS unit
    TIMEOUT 60
    ENVIRONMENT "${vela_suite_environment};QT_SCALE_FACTOR=2")
endfunction()
