# Builds fihost.1 with help2man: the tool's own --help, then one section per
# subcommand holding that subcommand's --help.
set(_include ${WORK}/fihost-man.include)
file(WRITE ${_include} "[SUBCOMMANDS]\n")
foreach(sub devices check snapshot snapshots restore instances)
  execute_process(COMMAND ${FIHOST} ${sub} --help OUTPUT_VARIABLE _help RESULT_VARIABLE _rc)
  if(NOT _rc EQUAL 0)
    message(FATAL_ERROR "fihost ${sub} --help failed")
  endif()
  string(REPLACE "\\" "\\\\" _help "${_help}")
  file(APPEND ${_include} ".SS ${sub}\n.nf\n${_help}\n.fi\n")
endforeach()
file(APPEND ${_include} "[EXIT STATUS]\n0 done; 1 a problem was found or an operation failed; 2 usage.\n")
execute_process(COMMAND ${HELP2MAN} --no-info --section=1
                        "--name=takes, checks and restores array snapshots through the hitachifi plugin"
                        --include=${_include} --output=${OUT} ${FIHOST}
                RESULT_VARIABLE _rc)
if(NOT _rc EQUAL 0)
  message(FATAL_ERROR "help2man failed")
endif()
