#pragma once
// On-disk sample types and their conversions to and from the engine's floats.
//
// Each type is a one-value class whose size is exactly its size in a file, so
// an array of them maps the bytes of a file block. Names: number of bits,
// BE for big-endian (no letter: little-endian), U unsigned, S signed, F float,
// FRE float with reversed (big-endian) bytes, ALAW and ULAW the G.711 codes.
//
// ConvertSamplesIn / ConvertSamplesOut convert n single values (frames times
// channels), not frames. They do not guard the range: callers feed limited
// audio (every save passes a peak limiter first). The 16-bit writer saturates
// in its blocks of eight but wraps in its tail of up to seven values; that
// difference is kept on purpose, so that output stays bit-identical.
#include <bit>
#include <cstdint>

static_assert(std::endian::native == std::endian::little,
              "the sample types map little-endian values directly");

#pragma pack(push, 1)
struct LSF16 { int16_t value; };
struct LSF32 { int32_t value; };
struct LSFU8 { uint8_t value; };
struct LSFS8 { int8_t value; };
struct LSFBE8 { int8_t value; };  // written only; 8-bit signed without rounding
struct LSFBE16 { uint8_t bytes[2]; };
struct LSFBE24 { uint8_t bytes[3]; };
struct LSFBE32 { uint8_t bytes[4]; };
struct LSFLE24 { uint8_t bytes[3]; };
struct LSFF32 { float value; };
struct LSFF64 { double value; };
struct LSFFRE32 { uint8_t bytes[4]; };
struct LSFFRE64 { uint8_t bytes[8]; };
struct LSFALAW { uint8_t value; };
struct LSFULAW { uint8_t value; };
#pragma pack(pop)

static_assert(sizeof(LSF16) == 2 && sizeof(LSF32) == 4 && sizeof(LSFU8) == 1 && sizeof(LSFS8) == 1);
static_assert(sizeof(LSFBE8) == 1 && sizeof(LSFBE16) == 2 && sizeof(LSFBE24) == 3 && sizeof(LSFBE32) == 4);
static_assert(sizeof(LSFLE24) == 3 && sizeof(LSFF32) == 4 && sizeof(LSFF64) == 8);
static_assert(sizeof(LSFFRE32) == 4 && sizeof(LSFFRE64) == 8 && sizeof(LSFALAW) == 1 && sizeof(LSFULAW) == 1);

// Scale of the companded codes: their largest magnitude is a little below it.
inline constexpr double kCompandScale = 516096.0;

template <class T> void ConvertSamplesIn(float* out, const T* in, long long n);
template <class T> void ConvertSamplesOut(T* out, const float* in, long long n);

template <> void ConvertSamplesIn<LSF16>(float* out, const LSF16* in, long long n);
template <> void ConvertSamplesIn<LSFBE16>(float* out, const LSFBE16* in, long long n);
template <> void ConvertSamplesIn<LSF32>(float* out, const LSF32* in, long long n);
template <> void ConvertSamplesIn<LSFBE32>(float* out, const LSFBE32* in, long long n);
template <> void ConvertSamplesIn<LSFLE24>(float* out, const LSFLE24* in, long long n);
template <> void ConvertSamplesIn<LSFBE24>(float* out, const LSFBE24* in, long long n);
template <> void ConvertSamplesIn<LSFU8>(float* out, const LSFU8* in, long long n);
template <> void ConvertSamplesIn<LSFS8>(float* out, const LSFS8* in, long long n);
template <> void ConvertSamplesIn<LSFBE8>(float* out, const LSFBE8* in, long long n) = delete;
template <> void ConvertSamplesIn<LSFF32>(float* out, const LSFF32* in, long long n);
template <> void ConvertSamplesIn<LSFF64>(float* out, const LSFF64* in, long long n);
template <> void ConvertSamplesIn<LSFFRE32>(float* out, const LSFFRE32* in, long long n);
template <> void ConvertSamplesIn<LSFFRE64>(float* out, const LSFFRE64* in, long long n);
template <> void ConvertSamplesIn<LSFULAW>(float* out, const LSFULAW* in, long long n);
template <> void ConvertSamplesIn<LSFALAW>(float* out, const LSFALAW* in, long long n);

template <> void ConvertSamplesOut<LSF16>(LSF16* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFBE16>(LSFBE16* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSF32>(LSF32* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFBE32>(LSFBE32* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFLE24>(LSFLE24* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFBE24>(LSFBE24* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFU8>(LSFU8* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFS8>(LSFS8* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFBE8>(LSFBE8* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFF32>(LSFF32* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFF64>(LSFF64* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFFRE32>(LSFFRE32* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFFRE64>(LSFFRE64* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFULAW>(LSFULAW* out, const float* in, long long n);
template <> void ConvertSamplesOut<LSFALAW>(LSFALAW* out, const float* in, long long n);
