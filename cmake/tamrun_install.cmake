# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# What cmake --install lays down. The tree can be moved: the pkg-config file and tamfc find the rest by their own place.
file(RELATIVE_PATH TAMRUN_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" TAMRUN_PC_TO_PREFIX "${TAMRUN_PC_TO_PREFIX}")
configure_file(cmake/tamrun.pc.in ${PROJECT_BINARY_DIR}/tamrun.pc @ONLY)

install(TARGETS tamrunmt LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_BINARY_DIR}/tamrun.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES include/ISO_Fortran_binding.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/tamrun DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md")
if(TARGET tamgnu)
  install(TARGETS tamgnu LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(PROGRAMS tamfc DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
endif()
