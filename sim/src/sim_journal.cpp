#include "sim_journal.h"

#include <cstring>

namespace rmsim {

namespace {

const uint32_t kMagic = 0x314a4d52;  // "RMJ1"

// Host order: a journal is read on the host that wrote it.
struct Head {
  uint32_t magic;
  uint32_t size;  // of the whole record
  int64_t seq;
  int32_t numbers[14];
  uint32_t functionSize;
  uint32_t cmddevSize;
};

}  // namespace

std::string encodeCall(const CallRecord& r) {
  Head head;
  std::memset(&head, 0, sizeof head);
  head.magic = kMagic;
  head.seq = r.seq;
  const int32_t numbers[14] = {r.pid,    r.instance, r.porttype, r.port, r.targid,  r.lun,     r.mun,
                               r.ldevno, r.option,   r.csize,    r.ope,  r.ldevArg, r.portArg, r.result};
  std::memcpy(head.numbers, numbers, sizeof numbers);
  head.functionSize = static_cast<uint32_t>(r.function.size());
  head.cmddevSize = static_cast<uint32_t>(r.cmddev.size());
  head.size = static_cast<uint32_t>(sizeof head + r.function.size() + r.cmddev.size());
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  return bytes + r.function + r.cmddev;
}

void decodeCalls(const std::string& bytes, int64_t after, std::vector<CallRecord>& out) {
  size_t at = 0;
  while (bytes.size() - at >= sizeof(Head)) {
    Head head;
    std::memcpy(&head, bytes.data() + at, sizeof head);
    const uint64_t size = sizeof head + static_cast<uint64_t>(head.functionSize) + head.cmddevSize;
    if (head.magic != kMagic || head.size != size || bytes.size() - at < size) return;
    if (head.seq > after) {
      CallRecord r;
      r.seq = head.seq;
      int32_t* fields[14] = {&r.pid,    &r.instance, &r.porttype, &r.port, &r.targid,  &r.lun,     &r.mun,
                             &r.ldevno, &r.option,   &r.csize,    &r.ope,  &r.ldevArg, &r.portArg, &r.result};
      for (int i = 0; i < 14; ++i) *fields[i] = head.numbers[i];
      r.function = bytes.substr(at + sizeof head, head.functionSize);
      r.cmddev = bytes.substr(at + sizeof head + head.functionSize, head.cmddevSize);
      out.push_back(r);
    }
    at += size;
  }
}

}  // namespace rmsim
