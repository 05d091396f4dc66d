# The plugin object and its exported entry points.
hitachi_add_family(hitachi_plugin hitachi_plugin.cpp hitachi_plugin_init.cpp hitachi_plugin_enum.cpp)
hitachi_add_family(hitachi_entrypoints hitachi_entrypoints.cpp)
