# The plugin object and its exported entry points.
hitachi_add_family(hitachi_plugin hitachi_plugin.cpp)
hitachi_add_family(hitachi_entrypoints hitachi_entrypoints.cpp)
