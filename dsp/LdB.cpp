#include "dsp/LdB.h"

#include <array>

namespace ldb_detail {
namespace {

using Table = std::array<float, 254>;

Table MakeTable(double divisor) {
    Table table{};
    for (int i = 0; i < 254; ++i) table[i] = static_cast<float>(std::pow(10.0, (i - 126) / divisor));
    return table;
}

}  // namespace

const float* AmplitudeTable() {
    static const Table table = MakeTable(20.0);
    return table.data();
}

const float* PowerTable() {
    static const Table table = MakeTable(10.0);
    return table.data();
}

}  // namespace ldb_detail
