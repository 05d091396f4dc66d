# The plugin object and its exported entry points. The snapshot operations
# are one file per family, all run under the operation guard.
hitachi_add_family(hitachi_plugin
  hitachi_plugin.cpp
  hitachi_plugin_init.cpp
  hitachi_plugin_enum.cpp
  hitachi_plugin_guard.cpp
  hitachi_plugin_nodes.cpp
  hitachi_plugin_pairs.cpp
  hitachi_plugin_ready.cpp
  hitachi_plugin_select.cpp
  hitachi_plugin_prepare.cpp
  hitachi_plugin_make.cpp
  hitachi_plugin_restore.cpp
  hitachi_plugin_state.cpp
  hitachi_plugin_import.cpp)
hitachi_add_family(hitachi_entrypoints hitachi_entrypoints.cpp)
