#include "cmnnetwork.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

const char* overrideName() {
  const char* name = std::getenv("HITACHIFI_HOSTNAME");
  return (name != nullptr && *name != '\0') ? name : nullptr;
}

}  // namespace

bool CCmnNetwork::getFQDN(const std::string& name, std::string& out) {
  out.clear();
  if (name.empty()) return false;
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
