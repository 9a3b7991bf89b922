# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# The converters round each product on its own: -ffp-contract=off keeps a compiler from fusing them.
#
# tamrun_library(folders...): compiles every source of the folders once and makes of the objects
#   libtamrunmt.so.5     the shared library; what it exports is the union of <folder>/exports.list
#   libtamrun_internals  the same objects as an archive, for tests of internals

set(TAMRUN_CXX_FLAGS -ffp-contract=off -fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility=hidden -Wall -Wextra -Wvla
                     -Wno-unknown-warning-option)
add_library(tamrun_options INTERFACE)
target_include_directories(tamrun_options INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
if(TAMRUN_SANITIZE)
  target_compile_options(tamrun_options INTERFACE -fsanitize=${TAMRUN_SANITIZE} -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  target_link_options(tamrun_options INTERFACE -fsanitize=${TAMRUN_SANITIZE})
endif()

function(tamrun_library)
  set(sources)
  set(names)
  foreach(folder IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
    set(list ${PROJECT_SOURCE_DIR}/${folder}/exports.list)
    if(EXISTS ${list})
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
      file(STRINGS ${list} lines REGEX "^[A-Za-z_]")
      list(APPEND names ${lines})
    endif()
  endforeach()
  list(SORT names)
  list(JOIN names ";\n    " exported)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/tamrunmt.map
       CONTENT "TAMRUN_5 {\n  global:\n    ${exported};\n  local:\n    *;\n};\n" @ONLY)
  list(JOIN names "\n" exported)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/exports.list CONTENT "${exported}\n" @ONLY)

  add_library(tamrun_objects OBJECT ${sources})
  # Entry points that callers choose for the processor at hand.
  set_source_files_properties(intrinsics/random_avx.cpp PROPERTIES COMPILE_OPTIONS "-mavx;-mpopcnt")
  set_source_files_properties(intrinsics/random_avx512.cpp PROPERTIES COMPILE_OPTIONS "-mavx512f;-mpopcnt")
  # Their loops are to become vectors; the ones with steps of 1 are written out, so that no more copies are wanted.
  set_source_files_properties(objects/array_temporary.cpp PROPERTIES COMPILE_OPTIONS "-O3")
  set_source_files_properties(parallel/omp_private.cpp parallel/reduction_cells.cpp PROPERTIES COMPILE_OPTIONS
                              "-O3;$<$<CXX_COMPILER_ID:GNU>:-fno-version-loops-for-strides>")
  target_compile_options(tamrun_objects PRIVATE ${TAMRUN_CXX_FLAGS})
  target_link_libraries(tamrun_objects PUBLIC tamrun_options)

  add_library(tamrunmt SHARED $<TARGET_OBJECTS:tamrun_objects>)
  target_link_libraries(tamrunmt PRIVATE tamrun_options m)
  target_link_options(tamrunmt PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/tamrunmt.map -Wl,--as-needed)
  if(NOT TAMRUN_SANITIZE)
    target_link_options(tamrunmt PRIVATE -static-libgcc -static-libstdc++ -Wl,-z,defs)
  endif()
  set_target_properties(tamrunmt PROPERTIES VERSION 5 SOVERSION 5 LINK_DEPENDS ${PROJECT_BINARY_DIR}/tamrunmt.map)

  add_library(tamrun_internals STATIC $<TARGET_OBJECTS:tamrun_objects>)
  target_link_libraries(tamrun_internals PUBLIC tamrun_options m)
endfunction()
