# Writes BuildVersion.h with the commit checked out now, at every build, so a
# rebuild after a pull does not report the commit the tree was configured
# from. configure_file leaves the header untouched when nothing changed, so an
# unchanged tree recompiles nothing.
#   cmake -DSOURCE_DIR=... -DOUTPUT=... -DPROJECT_VERSION=... -P WriteBuildVersion.cmake
execute_process(COMMAND git rev-parse --short=12 HEAD WORKING_DIRECTORY ${SOURCE_DIR}
                OUTPUT_VARIABLE PS_GIT_COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE
                RESULT_VARIABLE PS_GIT_RESULT ERROR_QUIET)
if(NOT PS_GIT_RESULT EQUAL 0 OR PS_GIT_COMMIT STREQUAL "")
  set(PS_GIT_COMMIT unknown)
endif()
configure_file(${SOURCE_DIR}/cmake/BuildVersion.h.in ${OUTPUT} @ONLY)
