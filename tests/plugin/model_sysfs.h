#ifndef TESTS_PLUGIN_MODEL_SYSFS_H
#define TESTS_PLUGIN_MODEL_SYSFS_H

#include <string>

// Writes below `root` the sysfs tree of the simulator's current model (the
// state file named by $RMSIM_DB), as `rmsim sysfs` does; returns the number
// of disks written. Kept apart from the plugin's headers, whose record names
// the simulator's share.
int writeModelSysfs(const std::string& root);

#endif
