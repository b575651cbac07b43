# A short run that is the same each time: fixed seed, RUNS inputs, and nothing of an earlier run. What
# the target finds to be new goes to WORK, not to the sources.
set(options -seed=1 -runs=${RUNS} -max_len=4096 -timeout=10 -rss_limit_mb=2048 -close_fd_mask=2
    -print_final_stats=1 -artifact_prefix=${WORK}/)
if(EXISTS ${CORPUS}.dict)
    list(APPEND options -dict=${CORPUS}.dict)
endif()
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/found)
set(inputs ${WORK}/found)
if(EXISTS ${CORPUS})
    list(APPEND inputs ${CORPUS})
endif()
execute_process(COMMAND ${PROGRAM} ${options} ${inputs} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} failed: ${status}; its input is in ${WORK}")
endif()
