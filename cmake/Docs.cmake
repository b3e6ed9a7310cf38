# The API reference: `cmake --build <dir> --target docs` runs scripts/docs.sh,
# which builds build/docs/html from the public headers with Doxygen and fails
# on any warning. The target exists only when doxygen is found.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  add_custom_target(docs
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/docs.sh --no-bootstrap
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    COMMENT "API reference into ${PROJECT_SOURCE_DIR}/build/docs/html"
    VERBATIM)
endif()
