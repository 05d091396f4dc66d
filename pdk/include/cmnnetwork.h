#ifndef CMN_NETWORK_H
#define CMN_NETWORK_H

#include <string>

// This host's names, from the system resolver.
//
// HITACHIFI_HOSTNAME, when set, is the name the host goes by everywhere
// (both calls below return it): on a cluster node whose array host groups
// are named after the cluster's virtual name, set it to that name.
//
// HITACHIFI_HOSTS_FILE, when set, names a file in /etc/hosts format that is
// the only source of names: nothing is asked of DNS. Use it where the name
// service is slow or unreachable (host-group matching resolves every host
// group's name).
class CCmnNetwork {
 public:
  // This host's fully qualified name (its canonical name from the
  // resolver, else its plain host name); "" when none can be had.
  static std::string getFQDN();
  // The canonical name of `name` from the resolver in `out`; false and ""
  // when the resolver does not know it.
  static bool getFQDN(const std::string& name, std::string& out);
  // This host's name as the system knows it (gethostname); "" on failure.
  static std::string getComputerName();
};

#endif
