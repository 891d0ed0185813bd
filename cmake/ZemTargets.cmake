# How every target of the project is compiled. Two families: the agent's own libraries and program
# (no exceptions, no run-time types) and everything else (client, tests, benchmarks).

add_library(zem_warnings INTERFACE)
target_compile_options(zem_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wimplicit-fallthrough
  $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>
  $<$<BOOL:${ZEM_WERROR}>:-Werror>)

if(ZEM_BUILD_FUZZ AND NOT ZEM_SANITIZE)
  set(ZEM_SANITIZE "fuzzer-no-link,address,undefined")
endif()
# How far sanitizer builds are optimised: what is tested, and what is only to be built soon. A fuzz
# target that runs for long earns its build time back.
set(zem_sanitized_level 1)
set(zem_soon_level 0)
if(ZEM_FUZZ_LONG)
  set(zem_sanitized_level 2)
  set(zem_soon_level 1)
endif()

add_library(zem_hardening INTERFACE)
target_compile_options(zem_hardening INTERFACE -fstack-protector-strong)
if(ZEM_SANITIZE)
  # No check of dynamic types: the agent's objects carry none, and a test that shares one of its
  # pointers would be told off for that.
  target_compile_options(zem_hardening INTERFACE
    -fsanitize=${ZEM_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
    -fno-sanitize-recover=all -O$<IF:$<BOOL:$<TARGET_PROPERTY:ZEM_BUILD_SOON>>,${zem_soon_level},${zem_sanitized_level}>)
  target_link_options(zem_hardening INTERFACE -fsanitize=${ZEM_SANITIZE})
else()
  # Fortified calls need optimisation; sanitizers bring their own checks instead.
  target_compile_options(zem_hardening INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
target_link_options(zem_hardening INTERFACE -Wl,-z,relro -Wl,-z,now)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()

# Large headers that most files of a target include. For sanitizer builds, where they cost the most:
# without it each file proves that it includes what it uses, and GCC 12 takes joined strings for
# accesses out of bounds when <string> comes precompiled.
function(zem_precompile name)
  if(ZEM_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE ${ARGN})
  endif()
endfunction()

# Not optimised in a sanitizer build: for what the sanitizers add to large headers that takes minutes.
function(zem_build_soon name)
  set_target_properties(${name} PROPERTIES ZEM_BUILD_SOON ON)
endfunction()

# A library of the agent: zem_agent_library(NAME SOURCES ... [DEPENDS ...])
function(zem_agent_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE zem_warnings zem_hardening)
endfunction()
