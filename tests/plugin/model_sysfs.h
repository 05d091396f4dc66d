#ifndef TESTS_PLUGIN_MODEL_SYSFS_H
#define TESTS_PLUGIN_MODEL_SYSFS_H

#include <string>

// Writes below `root` the sysfs tree of the simulator's model in $RMSIM_DB,
// as `rmsim sysfs` does; returns the number of disks. Apart from the plugin's
// headers, whose record names the simulator's share.
int writeModelSysfs(const std::string& root);

#endif
