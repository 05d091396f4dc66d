#ifndef RMSIM_SIM_STATE_PATH_H
#define RMSIM_SIM_STATE_PATH_H

// Where the simulator keeps its state, and which state files it trusts.

#include <string>

namespace rmsim {

// $RMSIM_DB; else state.db in a folder of the user's own, made on demand
// (mode 0700): $XDG_RUNTIME_DIR/rmsim, else $HOME/.cache/rmsim (the home
// folder from the password database when HOME is unset). The environment
// is read with secure_getenv: a setuid or file-capability process does not
// take its state from a path its caller chose. Throws DbError when the
// folder cannot be made or is not the user's alone.
std::string defaultStatePath();

// Throws DbError when the state file at `path`, or its SQLite companion
// (-wal, -shm), exists but is owned by another user or writable by group or
// others: whoever can change it can make the simulator report anything, and
// its triggers run in the process that opens it. A missing file is fine.
void checkStateFile(const std::string& path);

// Throws ModelError unless `name` can be one path component: not empty,
// not "." or "..", without "/" and without control bytes.
void checkPathComponent(const std::string& name, const char* what);

}  // namespace rmsim

#endif
