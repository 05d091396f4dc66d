#ifndef FRIM_PDK_CFIOBJCTLARGS_H
#define FRIM_PDK_CFIOBJCTLARGS_H

#include <string>
#include <utility>
#include <vector>

namespace frim_pdk_4_4 {

// The argument list of an object-control command: ordered name/value pairs
// (names may repeat).
//
// Text form, one argument per line, "name=value\n". In names and values the
// bytes '%', '=' and every control byte (below 0x20: NUL, '\n', '\r', ...)
// are written as '%' and two upper-case hex digits ("%25", "%3D", "%00",
// "%0A"), so any list of texts, NUL bytes included, round-trips through
// exportArgs and importArgs. A final line without its '\n' is
// accepted; empty lines are skipped.
class CFiObjctlArgs {
 public:
  using Argument = std::pair<std::string, std::string>;

  // Replaces the list with the arguments of `text` (null: empty). Returns 0,
  // or 3 when a line has no '=' or a '%' is not followed by two hex digits;
  // then the list is left empty and getError() names the line.
  int importArgs(char const* text);
  std::string exportArgs() const;

  void add(const std::string& name, const std::string& value) { m_args.emplace_back(name, value); }
  // The first value of `name`, or `fallback`.
  std::string get(const std::string& name, const std::string& fallback = std::string()) const;
  const std::vector<Argument>& getArgs() const { return m_args; }
  void clear() { m_args.clear(); }
  const std::string& getError() const { return m_error; }

 private:
  std::vector<Argument> m_args;
  std::string m_error;
};

}  // namespace frim_pdk_4_4

#endif
