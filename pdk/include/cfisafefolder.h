#ifndef FRIM_PDK_CFISAFEFOLDER_H
#define FRIM_PDK_CFISAFEFOLDER_H

#include <string>

namespace frim_pdk_4_4 {

// Why a folder is no place for files a privileged process creates or
// rewrites, or "" when it is one. A folder qualifies when it is owned by
// root or by the effective user and no one else may write in it (no group
// or other write bit). Anyone else able to write there could plant a link,
// swap a file, or rename the folder's entries between a check and a use.
// `descriptor` is an open descriptor of the folder (O_DIRECTORY), so the
// answer holds for the folder that will be used, whatever its path names
// later. `path` only names it in the answer.
std::string unsafeFolderReason(int descriptor, const std::string& path);

// The same for a path: the folder is opened (following links, since an
// administrator may place the folder elsewhere) and checked. A folder that
// cannot be opened gives the system's reason.
std::string unsafeFolderReason(const std::string& path);

}  // namespace frim_pdk_4_4

#endif
