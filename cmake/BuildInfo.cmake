# Writes OUTPUT, a header with the git revision of SOURCE_DIR and with BUILD_ID, unless it is up to date.

cmake_minimum_required(VERSION 3.25)

set(revision "unknown")
find_program(GIT git)
# Without a .git of their own, unpacked sources may be inside another repository.
if(GIT AND EXISTS ${SOURCE_DIR}/.git)
  execute_process(COMMAND ${GIT} -C ${SOURCE_DIR} rev-parse --short=12 HEAD
                  OUTPUT_VARIABLE output RESULT_VARIABLE status ERROR_QUIET
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(status EQUAL 0)
    set(revision ${output})
  endif()
endif()

file(CONFIGURE OUTPUT ${OUTPUT} CONTENT
"#define QOR_BUILD_REVISION \"@revision@\"
#define QOR_BUILD_ID \"@BUILD_ID@\"
" @ONLY)
