# `make deb`: the Debian packages, made by CPack (DEB generator) from the
# install components of a build configured with the prefix /usr and
# LEXPAND_DEB=ON:
#   lexpand         the programs and their manual pages             (programs)
#   liblexpand0     the shared engine, liblexpand.so.0               (runtime)
#   liblexpand-dev  the headers, liblexpand.a, the liblexpand.so link,
#                   lexpand.pc and the CMake package                 (development)
# The packages come out in <build>/packages.
set(LEXPAND_MAINTAINER "lexpand maintainers <maintainers@users.noreply.c-seed-32320d76.example>"
    CACHE STRING "The Maintainer field of the Debian packages")

set(LEXPAND_DEB_COMPONENTS programs runtime development)
set(LEXPAND_DEB_programs lexpand)
set(LEXPAND_DEB_runtime liblexpand0)
set(LEXPAND_DEB_development liblexpand-dev)

# The packages are versioned <upstream version>-<Debian revision>, and each
# carries a changelog.Debian.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(LEXPAND_DEB_VERSION ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

if(LEXPAND_DEB)
  # Each package carries /usr/share/doc/<package>/copyright and
  # changelog.Debian.gz (compressed with gzip -9n).
  configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in
                 ${PROJECT_BINARY_DIR}/debian/changelog.Debian @ONLY)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
                     COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/debian/changelog.Debian
                     DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog.Debian VERBATIM)
  add_custom_target(debian-changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz)
  foreach(component IN LISTS LEXPAND_DEB_COMPONENTS)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
                  ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${LEXPAND_DEB_${component}} COMPONENT ${component})
  endforeach()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lexpand)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${LEXPAND_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${LEXPAND_DEB_COMPONENTS})

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE lexpand)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps names the shared libraries the binaries need (libicu72 and
# the others) with the versions this build was made against.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(component IN LISTS LEXPAND_DEB_COMPONENTS)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${LEXPAND_DEB_${component}})
endforeach()

# Descriptions: the synopsis, then the long description (a blank line parts
# its paragraphs).
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "word forms of electronic dictionaries
lexpand reads electronic dictionaries of lemmas, the morphological grammars
that describe how each lemma inflects and derives, and a file of property
definitions, and prints every word form that the dictionaries generate, one
per line, with its category, its properties and the command that leads from
the form back to its lemma.")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION text)

set(engine_description "The engine of lexpand reads electronic dictionaries and the grammars and
property definitions they use, compiles grammars into finite-state automata,
and generates every word form of a dictionary entry with its properties.")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "engine of lexpand, shared library
${engine_description}

This package holds the shared library.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The dynamic linker's cache is refreshed by a trigger. (CPack adds a postinst
# and a postrm that call ldconfig besides.)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "engine of lexpand, development files
${engine_description}

This package holds the C++20 headers, the static library, and the files
with which pkg-config (lexpand.pc) and CMake (find_package(lexpand)) find
the engine.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liblexpand0 (= ${LEXPAND_DEB_VERSION}), libicu-dev")

include(CPack)
