#pragma once
// Decibel values. LdB<signed char> holds whole dB from -127 to 127, where -127
// stands for silence (gain exactly 0); LdB<float> holds any value in the same
// range. Whole values are converted through tables built on first use, so the
// per-block paths of the dynamics effects never call pow().
#include <cmath>

namespace ldb_detail {
inline constexpr int kSilence = -127;
// Amplitude (10^(dB/20)) and power (10^(dB/10)) gains of whole dB -126..127.
const float* AmplitudeTable();
const float* PowerTable();
inline float TableGain(const float* table, int db) { return db <= kSilence ? 0.0f : table[db + 126]; }
}  // namespace ldb_detail

template <class T>
class LdB {
public:
    constexpr LdB() = default;
    constexpr LdB(T db) : db_(db) {}

    // 20*log10(linear): rounded half away from zero for whole-dB types, clamped
    // to -127..127; 0 and below give silence.
    static LdB FromLinear(double linear) {
        if (!(linear > 0.0)) return LdB(static_cast<T>(ldb_detail::kSilence));
        double db = 20.0 * std::log10(linear);
        if constexpr (sizeof(T) == 1) db = std::round(db);  // std::round is half away from zero
        if (db < -127.0) db = -127.0;
        if (db > 127.0) db = 127.0;
        return LdB(static_cast<T>(db));
    }

    T Get() const { return db_; }
    bool IsSilence() const { return db_ <= ldb_detail::kSilence; }

    float GetLin() const { return Lookup(ldb_detail::AmplitudeTable(), 20.0); }
    float GetLinPower() const { return Lookup(ldb_detail::PowerTable(), 10.0); }

    friend bool operator==(LdB a, LdB b) { return a.db_ == b.db_; }

private:
    float Lookup(const float* table, double divisor) const {
        if (db_ <= ldb_detail::kSilence) return 0.0f;
        if constexpr (sizeof(T) == 1) {
            return ldb_detail::TableGain(table, db_);
        } else {
            double whole = std::floor(db_);
            if (whole == db_ && db_ <= 127) return ldb_detail::TableGain(table, static_cast<int>(whole));
            return static_cast<float>(std::pow(10.0, db_ / divisor));
        }
    }

    T db_ = static_cast<T>(ldb_detail::kSilence);
};
