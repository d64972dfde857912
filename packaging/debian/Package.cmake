# The Debian package: `cpack` in a release tree (scripts/package) makes
# nvrprinthelper_<version>_<arch>.deb from the `program` and `debian` install components.
# Its dependencies come from the libraries the program links (dpkg-shlibdeps), its manual
# page and changelog are compressed as Debian wants them, and its documentation directory
# holds the copyright file, made here from LICENSE.

set(NVR_DEB_NAME nvrprinthelper)
# cpack installs the tree after building its `preinstall` target; the package needs only the
# program and its files (scripts/package builds those), not every test of the tree.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(NVR_DEB_FILES ${CMAKE_BINARY_DIR}/debian)
set(NVR_DEB_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${NVR_DEB_NAME})

# The maintainer is whoever signed the latest changelog entry.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/changelog nvr_trailer REGEX "^ -- " LIMIT_COUNT 1)
string(REGEX REPLACE "^ -- (.*>)  .*$" "\\1" NVR_PACKAGE_MAINTAINER "${nvr_trailer}")

# LICENSE opens with its title and the copyright line; the rest is the license itself,
# which the copyright file carries indented by one space, blank lines written as " .".
file(READ ${PROJECT_SOURCE_DIR}/LICENSE nvr_license)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" nvr_match "${nvr_license}")
set(NVR_COPYRIGHT "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^.*Copyright \\(c\\) [^\n]*\n+" "" nvr_license "${nvr_license}")
string(STRIP "${nvr_license}" nvr_license)
string(REPLACE "\n" "\n " nvr_license " ${nvr_license}")
string(REGEX REPLACE "\n +\n" "\n .\n" NVR_LICENSE_TEXT "${nvr_license}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright.in ${NVR_DEB_FILES}/copyright @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/LICENSE
  ${CMAKE_CURRENT_LIST_DIR}/changelog ${CMAKE_CURRENT_LIST_DIR}/description)

# gzip -9n: the best compression, and no file name or time stamp in the header, so that the
# same page always makes the same package.
function(nvr_gzip source target)
  add_custom_command(OUTPUT ${target}
    COMMAND sh -c "gzip -9n <\"$0\" >\"$1\"" ${source} ${target}
    DEPENDS ${source} VERBATIM)
endfunction()
nvr_gzip(${PROJECT_SOURCE_DIR}/packaging/NvrPrintHelper.1 ${NVR_DEB_FILES}/NvrPrintHelper.1.gz)
nvr_gzip(${CMAKE_CURRENT_LIST_DIR}/changelog ${NVR_DEB_FILES}/changelog.gz)
add_custom_target(nvr_debian_files ALL
  DEPENDS ${NVR_DEB_FILES}/NvrPrintHelper.1.gz ${NVR_DEB_FILES}/changelog.gz)

install(FILES ${NVR_DEB_FILES}/NvrPrintHelper.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  COMPONENT debian EXCLUDE_FROM_ALL)
install(FILES ${NVR_DEB_FILES}/copyright ${NVR_DEB_FILES}/changelog.gz
  DESTINATION ${NVR_DEB_DOCDIR} COMPONENT debian EXCLUDE_FROM_ALL)

# A stripped program keeps no compiler notes either, as in Debian's own packages.
install(CODE "
  if(CMAKE_INSTALL_DO_STRIP)
    execute_process(COMMAND \"${CMAKE_STRIP}\" --remove-section=.comment --remove-section=.note
      \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/NvrPrintHelper\")
  endif()" COMPONENT program)

set(CPACK_GENERATOR DEB)
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_PACKAGE_NAME ${NVR_DEB_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "NvrPrintHelper developers")
set(CPACK_PACKAGE_CONTACT "${NVR_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "print PDF and XPS documents through CUPS, silently or with a preview")
# Read here rather than named as CPACK_PACKAGE_DESCRIPTION_FILE, which cpack would hand over
# with its quotes and apostrophes escaped for XML.
file(READ ${CMAKE_CURRENT_LIST_DIR}/description CPACK_DEBIAN_PACKAGE_DESCRIPTION)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_CMAKE_PROJECTS
  ${CMAKE_BINARY_DIR} ${PROJECT_NAME} program /
  ${CMAKE_BINARY_DIR} ${PROJECT_NAME} debian /)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${NVR_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
