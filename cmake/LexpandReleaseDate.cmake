# LEXPAND_RELEASE_DATE: the day (YYYY-MM-DD) that the manual pages and the
# Debian changelog carry. It is SOURCE_DATE_EPOCH's when the environment sets
# it, else the day of the last commit, so that two builds of one commit make
# the same files; outside a git checkout it is the day of configuring.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git log -1 --format=%ct
                  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                  OUTPUT_VARIABLE commit_time OUTPUT_STRIP_TRAILING_WHITESPACE
                  RESULT_VARIABLE git_status ERROR_QUIET)
  if(git_status EQUAL 0 AND commit_time MATCHES "^[0-9]+$")
    set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
  endif()
endif()
string(TIMESTAMP LEXPAND_RELEASE_DATE "%Y-%m-%d" UTC)
# The same moment in the form of a Debian changelog's signature line.
string(TIMESTAMP LEXPAND_RELEASE_DATE_RFC2822 "%a, %d %b %Y %H:%M:%S +0000" UTC)
