# Private-data text, device records and the plugin's private data.
hitachi_add_family(hitachi_records hitachi_pdparser.cpp hitachi_snappair.cpp hitachi_vdisk.cpp hitachi_privatedata.cpp)
