# Builds rmsim.1 from the usage text rmsim prints, so that the page lists
# every command the tool has. rmsim --help prints only that text (there is
# no --version), too little for help2man.
execute_process(COMMAND ${RMSIM} ERROR_VARIABLE _usage OUTPUT_QUIET RESULT_VARIABLE _rc)
if(NOT _rc EQUAL 2 OR NOT _usage MATCHES "^usage: rmsim")
  message(FATAL_ERROR "rmsim did not print its usage (exit ${_rc})")
endif()
string(REPLACE "\\" "\\e" _usage "${_usage}")
string(REGEX REPLACE "\n([.'])" "\n\\\\&\\1" _usage "${_usage}")
file(WRITE ${OUT} ".TH RMSIM 1 \"\" \"rmsim ${VERSION}\" \"User Commands\"
.SH NAME
rmsim \\- set up and inspect the RAID Manager library simulator's arrays
.SH SYNOPSIS
.B rmsim
[\\fB\\-\\-db\\fR \\fIFILE\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]
.SH DESCRIPTION
The simulator is a drop-in RAID Manager library over simulated Hitachi and HP XP arrays, kept in
a shared SQLite file. The plugin loads it instead of /usr/lib/libsvrrm.so when FRIM_DLOPEN_ROOT
names the simulator's root, for example
.IP
FRIM_DLOPEN_ROOT=${SIMROOT}
.PP
rmsim loads a model into the state file, writes the sysfs tree of the model's host disks, and sets
pair states and faults.
.PP
.nf
${_usage}
.fi
.SH FILES
.TP
${MODEL}
the default model that \\fBrmsim init\\fR loads, as a starting point for a model of your own
.SH ENVIRONMENT
.TP
RMSIM_DB
the state file, when \\-\\-db is not given
.SH EXIT STATUS
0 done; 1 refused (the message says why); 2 usage.
.SH SEE ALSO
.BR fihost (1),
${DOCDIR}/README.md
")
