#ifndef RMSIM_SIM_DATA_H
#define RMSIM_SIM_DATA_H

// The data of every LDEV: a small image kept in the state file, which pair
// transitions move as the array does (a split freezes the secondary, the end
// of a copy makes one volume equal the other).

#include <string>

namespace rmsim {

class Db;

// Most bytes an LDEV holds in the simulator.
const size_t kMaxLdevData = 65536;

// Gives every LDEV of the loaded model its first content (distinct and
// deterministic per LDEV) and every secondary of a pair in PAIR its
// primary's content.
void seedData(Db& db);

// The first content of an LDEV: "rmsim 410001 LDEV 256 (0x0100)\n".
std::string initialData(int serial, int ldev);

// Makes LDEV `to` hold what LDEV `from` holds, on one array.
void copyData(Db& db, int serial, int from, int to);

// Throws ModelError for an LDEV the model lacks.
std::string readData(Db& db, int serial, int ldev);

// Writes as the host would: refused (ModelError) for a secondary that its
// pair keeps read-only (COPY, PAIR, RCPY), for a primary that a reverse
// copy is overwriting, and beyond kMaxLdevData. A primary's write reaches
// the secondaries of its pairs in PAIR.
void writeData(Db& db, int serial, int ldev, const std::string& bytes);

}  // namespace rmsim

#endif
