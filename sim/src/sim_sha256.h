#ifndef RMSIM_SIM_SHA256_H
#define RMSIM_SIM_SHA256_H

// SHA-256 of a byte string as 64 lower-case hex digits, the same text that
// sha256sum prints, so that `rmsim read | sha256sum` and `rmsim checksum`
// can be compared.

#include <string>

namespace rmsim {

std::string sha256Hex(const std::string& bytes);

}  // namespace rmsim

#endif
