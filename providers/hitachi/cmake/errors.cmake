# The plugin's exception and message ids.
hitachi_add_family(hitachi_errors hitachi_exception.cpp)
