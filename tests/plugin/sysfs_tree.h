#ifndef TESTS_PLUGIN_SYSFS_TREE_H
#define TESTS_PLUGIN_SYSFS_TREE_H

// The prepared sysfs trees of the device discovery tests.
#include "../scsitool/sysfs_tree.h"

#endif
