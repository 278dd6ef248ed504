# Compiler options of every target: warnings are errors, sanitizers as asked for.
add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wno-sign-conversion
  "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>"
  -Wno-missing-field-initializers -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options(-Wthread-safety)
endif()
if(QUILLON_SANITIZE)
  add_compile_options(-fsanitize=${QUILLON_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUILLON_SANITIZE})
endif()
if(QUILLON_FUZZ)
  # Optimised a little: a fuzzer finds as much as it runs.
  add_compile_options(-fsanitize=fuzzer-no-link -O1)
endif()
if(APPLE)
  # A method of a protocol rarely wants all that it is given.
  add_compile_options("$<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc;-Wundeclared-selector;-Wunguarded-availability;-Wno-unused-parameter>")
else()
  add_link_options(-Wl,--as-needed)
endif()

option(QUILLON_UNITY "Compile the sources of a room several at a time: most of a build is reading headers" OFF)
if(QUILLON_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # It suspects every class of a source that another file includes.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
endif()

# quillon_unite(TARGET): compiles its sources together where that is asked for.
function(quillon_unite target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${QUILLON_UNITY} UNITY_BUILD_BATCH_SIZE 8)
endfunction()

# quillon_room(NAME [LIBRARIES...]): a static library of all sources of the calling folder but a program's and those
# for callers in C.
function(quillon_room name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/(main|pv_[^/]*)\\.cpp$")
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC ${ARGN})
  quillon_unite(${name})
endfunction()
