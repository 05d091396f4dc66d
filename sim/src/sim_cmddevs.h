#ifndef RMSIM_SIM_CMDDEVS_H
#define RMSIM_SIM_CMDDEVS_H

// Command devices: attaching and detaching, the library version, and the
// texts that describe a command device's last failure.

#include "svrrm.h"

namespace rmsim {

class Call;
class ErrorBook;

// Fills the parts of the block that describe a failure too (the path), so
// that even a refused attach can be explained by getrmerrmsg on that block.
void prepareAttachBlock(cmddevinfo* info, const char* cmddev);

// Refuses a negative instance number (RMSIM_E_INVINST) and one that another
// live process holds on the same command device (RMSIM_E_INSTUSED), as
// RAID Manager does; the same process may attach again under its number.
int attachCmdDev(Call& call, const char* cmddev, int instance);
int detachCmdDev(Call& call);
int getRmVer(Call& call, int* version);
int getFmtMsg(Call& call, const ErrorBook& errors, char* buffer);
// True while process `pid` exists (a zombie still counts).
bool processAlive(int pid);

// The last failure's text on that command device, or "no error". Valid
// until the next failure on that command device.
char* errorText(const ErrorBook& errors, const cmddevinfo* info);

}  // namespace rmsim

#endif
