#include "cmnnetwork.h"

#include <netdb.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

const char* overrideName() {
  const char* name = ::secure_getenv("HITACHIFI_HOSTNAME");
  return (name != nullptr && *name != '\0') ? name : nullptr;
}

// The canonical name (first name of its line) of `name` in a hosts-format
// file; "" when the file does not list it.
std::string fromHostsFile(const char* file, const std::string& name) {
  std::ifstream in(file);
  for (std::string line; std::getline(in, line);) {
    line = line.substr(0, line.find('#'));
    std::istringstream words(line);
    std::string address, canonical, alias;
    if (!(words >> address >> canonical)) continue;
    if (::strcasecmp(canonical.c_str(), name.c_str()) == 0) return canonical;
    while (words >> alias) {
      if (::strcasecmp(alias.c_str(), name.c_str()) == 0) return canonical;
    }
  }
  return "";
}

}  // namespace

bool CCmnNetwork::getFQDN(const std::string& name, std::string& out) {
  out.clear();
  if (name.empty()) return false;
  const char* hostsFile = ::secure_getenv("HITACHIFI_HOSTS_FILE");
  if (hostsFile != nullptr && *hostsFile != '\0') {
    out = fromHostsFile(hostsFile, name);
    return !out.empty();
  }
  struct addrinfo hints;
  std::memset(&hints, 0, sizeof hints);
  hints.ai_family = AF_UNSPEC;
  hints.ai_flags = AI_CANONNAME;
  struct addrinfo* result = nullptr;
  if (::getaddrinfo(name.c_str(), nullptr, &hints, &result) != 0 || result == nullptr) return false;
  if (result->ai_canonname != nullptr) out = result->ai_canonname;
  ::freeaddrinfo(result);
  return !out.empty();
}

std::string CCmnNetwork::getComputerName() {
  if (const char* name = overrideName()) return name;
  char host[256] = {0};
  if (::gethostname(host, sizeof host - 1) != 0) return "";
  return host;
}

std::string CCmnNetwork::getFQDN() {
  if (const char* name = overrideName()) return name;
  std::string host = getComputerName();
  std::string canonical;
  if (!host.empty() && getFQDN(host, canonical)) return canonical;
  return host;
}
