# The RAID Manager library binding, command devices and instance numbers.
hitachi_add_family(hitachi_rmlib hitachi_rmlibintf.cpp hitachi_instanceManager.cpp hitachi_luninfo.cpp
                   hitachi_pairops.cpp hitachi_targets.cpp)
