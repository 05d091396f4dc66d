#ifndef TESTS_PLUGIN_MODEL_SYSFS_H
#define TESTS_PLUGIN_MODEL_SYSFS_H

#include <string>

// `rmsim sysfs` for the model in $RMSIM_DB; apart from the plugin's headers,
// whose record names the simulator's share. Returns the number of disks.
int writeModelSysfs(const std::string& root);

#endif
