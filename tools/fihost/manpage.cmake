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
file(APPEND ${_include} [=[
[EXAMPLES]
.nf
fihost check /dev/sdc                        # before the first backup
fihost snapshot \-\-state mon.json /dev/sdc     # take a snapshot, keep its state
fihost restore mon.json                      # copy it back, after a confirmation
fihost restore \-\-yes \-\-timeout 600 mon.json  # no prompt, at most ten minutes
fihost devices \-\-json                        # options may follow the subcommand
fihost instances \-\-reclaim                   # free the numbers of ended processes
fihost snapshot \-\-keep 3 /dev/sdc             # keep the last three snapshots (restore points)
fihost snapshots /dev/sdc                    # its restore points, newest first, intact or not
fihost restore \-\-snapshot 6                  # copy restore point 6 back, after a confirmation
.fi
.PP
With \-\-keep N each snapshot goes to the first of the first N partners of the method
(by mirror unit: full copy 0 to 2, Copy\-on\-Write 3 and up) that holds no recorded
snapshot, else to the one holding the oldest. A restore point whose partner was taken
again, resynchronised, suspended or dissolved since is listed as not intact, and
restore \-\-snapshot refuses it.
.PP
A restore of a state file whose partner a later snapshot has overwritten is refused,
naming that snapshot and when it was taken:
.nf
fihost: mon.json is stale: the snapshot of /dev/sdc taken 2026\-11\-24T09:00:00Z on ...##512
was replaced by snapshot 2 taken 2026\-11\-24T21:00:00Z (state file /root/tue.json); ...
.fi
[FILES]
.TP
.I $HITACHIFI_CACHE_DIR/fihost/catalogue.db
The catalogue of the snapshots taken on this host (SQLite): which snapshot each partner
volume holds, and which later snapshot replaced it. Written by snapshot, read by restore
and check, and listed by snapshots. Removing it forgets which partner holds what; restore
then cannot tell a stale state file, and the restore points are gone.
.TP
.I $HITACHIFI_CACHE_DIR/hitachi/
The RAID Manager instance-number files that fihost shares with the plugin.
.TP
.I /usr/lib/libsvrrm.so
The RAID Manager library, below $FRIM_DLOPEN_ROOT when that is set.
[ENVIRONMENT]
.TP
.B HITACHIFI_CACHE_DIR
The cache folder (default /var/cache/hitachifi): instance-number files and the catalogue.
.TP
.B HITACHIFI_TRACE_DIR, HITACHIFI_TRACE_FILE
The plugin's trace file (default /var/log/hitachifi/hitachifi.log).
.TP
.B HITACHIFI_SYSFS_ROOT
Where the host's disks are read (default /sys).
.TP
.B HITACHIFI_HOSTNAME
The host name matched against the arrays' host-group names.
.TP
.B HITACHIFI_SNAPSHOT_RESOURCE_SPEC
The configured snapshot targets, as the plugin reads them. A snapshot \-\-keep run names its
own targets through the plugin's config entry point instead.
.TP
.B FRIM_DLOPEN_ROOT
A folder under which /usr/lib/libsvrrm.so is looked for.
[EXIT STATUS]
.TP
.B 0
Done.
.TP
.B 1
An operation failed or check found a problem; the messages say why.
.TP
.B 2
Usage: the command line is wrong, or names a method of another vendor's arrays.
.TP
.B 3
The restore was not confirmed; nothing was changed.
.TP
.B 124
The time limit (\-\-timeout, \-\-wait) was reached; the pairs' states are reported.
.TP
.B 130
Interrupted (Ctrl\-C or SIGTERM); the pairs' states are reported.
]=])
execute_process(COMMAND ${HELP2MAN} --no-info --section=1
                        "--name=takes, checks and restores array snapshots through the hitachifi plugin"
                        --include=${_include} --output=${OUT} ${FIHOST}
                RESULT_VARIABLE _rc)
if(NOT _rc EQUAL 0)
  message(FATAL_ERROR "help2man failed")
endif()
