#include "rhythm/onsets/CurveChunks.h"

#include "rhythm/onsets/CurveCode.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace qel::core {

namespace {

// What the densest curves need, and less than twice of what music needs.
constexpr UInt64 kBytesReserved = CurveChunks::kFrames * 5 / 2;
constexpr UInt64 kMostReserved = UInt64{1} << 30;
static_assert(CurveChunks::kFrames <= kMostCoded);

AudioBufferList ListOf(void* data, std::size_t bytes) {
    AudioBufferList list{};
    list.mNumberBuffers = 1;
    list.mBuffers[0] = {1, static_cast<UInt32>(bytes), data};
    return list;
}

UInt16 UpperHalfBelow(float value) {
    return static_cast<UInt16>(std::bit_cast<std::uint32_t>(value) >> 16);
}

UInt16 UpperHalfAbove(float value) {
    return static_cast<UInt16>((std::bit_cast<std::uint32_t>(value) + 0xFFFFu) >> 16);
}

float FromUpperHalf(UInt16 half) {
    return std::bit_cast<float>(std::uint32_t{half} << 16);
}

} // namespace

CurveChunks::CurveChunks() : mEntries(1, sizeof(Entry)), mCode(1, 1) {}

void CurveChunks::Reserve(UInt64 frames) {
    const UInt64 chunks = std::min(frames / kFrames + 1, kMostReserved / kBytesReserved);
    mEntries.Reserve(chunks);
    mCode.Reserve(chunks * kBytesReserved);
}

// A list that has nothing gives zeros.
void CurveChunks::AppendEmpty(UInt64 chunks) {
    mEntries.MakeRoom(mEntries.Frames() + chunks);
    mEntries.Append(ListOf(nullptr, 0), static_cast<UInt32>(chunks));
}

void CurveChunks::Put(UInt64 chunk, const float* curve, UInt32 n) {
    Byte code[kMostCodeBytes];
    const std::size_t bytes = EncodeCurve(curve, n, code);
    float least = 0.0f;
    float greatest = 0.0f;
    vDSP_minv(curve, 1, &least, n);
    vDSP_maxv(curve, 1, &greatest, n);
    Entry entry{static_cast<UInt32>(mCode.Frames()), curve[n], UpperHalfBelow(least),
                UpperHalfAbove(greatest)};
    mCode.Append(ListOf(code, bytes), static_cast<UInt32>(bytes));
    mEntries.Store(ListOf(&entry, sizeof(entry)), 1, chunk);
    mGreatest = std::max(mGreatest, greatest);
}

CurveChunks::Entry CurveChunks::EntryOf(UInt64 chunk) const {
    Entry entry{};
    std::memcpy(&entry, mEntries.Frame(0, chunk), sizeof(entry));
    return entry;
}

void CurveChunks::Read(UInt64 chunk, UInt32 n, float* curve) const {
    const Entry entry = EntryOf(chunk);
    Byte code[kMostCodeBytes];
    mCode.Copy(0, entry.place, std::min(kMostCodeBytes, mCode.Frames() - entry.place), code);
    curve[n] = entry.next;
    DecodeCurve(code, n, curve);
}

float CurveChunks::LeastOf(UInt64 chunk) const {
    return FromUpperHalf(EntryOf(chunk).least);
}

float CurveChunks::GreatestOf(UInt64 chunk) const {
    return FromUpperHalf(EntryOf(chunk).greatest);
}

void CurveChunks::TouchTables() {
    mEntries.TouchTables();
    mCode.TouchTables();
}

bool CurveChunks::PrepareAhead() {
    return mEntries.PrepareAhead() || mCode.PrepareAhead();
}

} // namespace qel::core
