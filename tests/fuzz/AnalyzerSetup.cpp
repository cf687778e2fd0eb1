#include "tests/fuzz/AnalyzerSetup.h"

#include "tests/fuzz/Require.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <new>

namespace qel::fuzz {
namespace {

constexpr int kGlobalKeyPlace = 24;
constexpr int kSlotOfNames = 8;
// The slot of every listed key, and of the private one.
constexpr std::array<int, 31> kSlots = {0, 0, 0, 0, 0, 1,  4, 3, 8, 9, 9, 0, 10, 4,  2, 7,
                                        8, 8, 8, 7, 9, 11, 5, 5, 8, 6, 5, 5, 13, 14, 12};
// Roughly what a sample costs in a slot, in units of 200 ns under the checkers.
constexpr std::array<UInt32, 15> kWork = {3, 2, 2, 13, 2, 9, 5, 9, 8, 2, 2, 3, 1, 3, 13};

CFStringRef NameOfPlace(CFArrayRef listed, int place) {
    return place < CFArrayGetCount(listed)
               ? static_cast<CFStringRef>(CFArrayGetValueAtIndex(listed, place))
               : CFSTR("sound check");
}

} // namespace

KeyList::KeyList(ByteProgram& program) {
    if (program.Seldom(32)) {
        return;
    }
    const CFOwner listed(QelAudioAnalysisGlobalCopyKeys());
    const auto* const names = static_cast<CFArrayRef>(listed.get());
    const bool retains = program.Coin();
    CFMutableArrayRef array =
        CFArrayCreateMutable(kCFAllocatorDefault, 0, retains ? &kCFTypeArrayCallBacks : nullptr);
    mArray.reset(array);
    const bool all = program.Seldom(16);
    const UInt32 count = all ? 31 : program.Below(program.Coin() ? 3 : 8);
    for (UInt32 i = 0; i < count; ++i) {
        // Beyond the listed ones and "sound check": strings that are no keys, and no strings.
        const auto place = static_cast<int>(all ? i : program.Below(40));
        if (place == 37) {
            CFArrayAppendValue(array, CFSTR("tempo "));
            mHasEnded = true;
        } else if (place == 38) {
            CFArrayAppendValue(array, CFSTR(""));
            mHasEnded = true;
        } else if (place == 39) {
            CFArrayAppendValue(array, kCFBooleanTrue);
            mHasEnded = true;
        } else {
            const int known = place % static_cast<int>(kSlots.size());
            const int slot = kSlots[static_cast<std::size_t>(known)];
            CFArrayAppendValue(array, NameOfPlace(names, known));
            // The key of the whole stream has an owner only after another one of its group.
            mHasEnded = mHasEnded || (known == kGlobalKeyPlace && (mSlots & (1u << slot)) == 0);
            if (!mHasEnded) {
                mSlots |= 1u << slot;
                mHighestSlot = std::max(mHighestSlot, slot);
            }
        }
    }
    static_assert(kSlots[kGlobalKeyPlace] == kSlotOfNames);
}

UInt32 KeyList::WorkPerSample() const {
    UInt32 work = 1;
    for (std::size_t slot = 0; slot < kWork.size(); ++slot) {
        work += (mSlots & (1u << slot)) != 0 ? kWork[slot] : 0;
    }
    return work;
}

void Setup::SetFormat(double rateHz, UInt32 channels) {
    format = {};
    format.mSampleRate = rateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = UInt32{kAudioFormatFlagIsFloat} | UInt32{kAudioFormatFlagIsPacked} |
                          UInt32{kAudioFormatFlagIsNonInterleaved};
    format.mBytesPerPacket = sizeof(float);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(float);
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = 32;
}

Setup Setup::Any(ByteProgram& program) {
    constexpr double kRates[] = {44100.0,
                                 8000.0,
                                 48000.0,
                                 22050.0,
                                 16000.0,
                                 96000.0,
                                 192000.0,
                                 1000.0,
                                 100.0,
                                 1.0,
                                 0.0,
                                 -44100.0,
                                 1e12,
                                 std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::denorm_min()};
    constexpr UInt32 kMaxFrames[] = {4096, 512, 1024, 1, 64, 1000, 0, 8192, 20000, 100000};
    constexpr SInt64 kLengths[] = {0,
                                   1,
                                   511,
                                   512,
                                   20000,
                                   1 << 16,
                                   SInt64{1} << 31,
                                   SInt64{1} << 32,
                                   -1,
                                   1 << 20,
                                   SInt64{1} << 40,
                                   (SInt64{1} << 32) + 5000};
    constexpr UInt32 kChannels[] = {1, 2, 1, 3, 0, 8, 64, 5};
    Setup setup;
    setup.maxFrames = program.Seldom(16) ? program.Long() : program.OneOf(kMaxFrames);
    const double rateHz = program.Seldom(16) ? program.Double() : program.OneOf(kRates);
    setup.SetFormat(rateHz, program.Seldom(3) ? program.OneOf(kChannels) : 1);
    AudioStreamBasicDescription& format = setup.format;
    if (program.Seldom(12)) { // interleaved
        format.mFormatFlags &= ~UInt32{kAudioFormatFlagIsNonInterleaved};
        format.mBytesPerFrame = 4 * format.mChannelsPerFrame;
    }
    format.mBytesPerPacket = format.mBytesPerFrame;
    if (program.Seldom(12)) { // one field is odd
        UInt32* const fields[] = {&format.mFormatID,       &format.mFormatFlags,
                                  &format.mBytesPerPacket, &format.mFramesPerPacket,
                                  &format.mBytesPerFrame,  &format.mBitsPerChannel,
                                  &format.mReserved};
        UInt32& field = *program.OneOf(fields);
        field ^= UInt32{1} << program.Below(32);
    }
    // Between what is cheap and what no memory suffices for, nothing would be seen but zeroing.
    constexpr UInt64 kCheap = 200000;
    constexpr UInt64 kImpossible = UInt64{1} << 26;
    const UInt64 samples = UInt64{setup.maxFrames} * format.mChannelsPerFrame;
    if (samples > kCheap && samples < kImpossible) {
        setup.maxFrames %= static_cast<UInt32>(kCheap / format.mChannelsPerFrame);
    }
    setup.layout.mChannelLayoutTag = program.Seldom(4) ? program.Long() : 0;
    setup.layout.mNumberChannelDescriptions = program.Seldom(4) ? program.Long() : 1;
    setup.hasLayout = !program.Seldom(8);
    setup.streamLength =
        program.Seldom(8) ? static_cast<SInt64>(program.Quad()) : program.OneOf(kLengths);
    return setup;
}

bool Setup::IsCanonical() const {
    const bool apart = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
    const UInt32 width = apart ? 4 : 4 * format.mChannelsPerFrame;
    return format.mFormatID == kAudioFormatLinearPCM && (format.mFormatFlags & 31u) == 9 &&
           format.mBitsPerChannel == 32 && format.mFramesPerPacket == 1 &&
           format.mBytesPerFrame == width && format.mBytesPerPacket == width;
}

bool Setup::IsOfAudioRate() const {
    return format.mSampleRate >= 8000.0 && format.mSampleRate <= 192000.0;
}

bool Setup::MayNeedMuchMemory() const {
    constexpr UInt64 kManySamples = UInt64{1} << 22;
    return UInt64{maxFrames} * std::max(format.mChannelsPerFrame, 1u) > kManySamples ||
           format.mChannelsPerFrame > 8 ||
           UInt64{static_cast<UInt32>(streamLength)} * std::max(format.mChannelsPerFrame, 1u) >
               kManySamples;
}

PushList::PushList(UInt32 buffers, UInt32 frames)
    : mFrames(frames), mAudio(std::size_t{buffers} * frames) {
    const std::size_t tail = buffers > 1 ? buffers - std::size_t{1} : 0;
    mMemory = std::make_unique<std::byte[]>(sizeof(AudioBufferList) + tail * sizeof(AudioBuffer));
    mList = new (mMemory.get()) AudioBufferList{};
    mList->mNumberBuffers = buffers;
    for (UInt32 i = 0; i < buffers; ++i) {
        float* const samples = Samples(i);
        mList->mBuffers[i] = {1, static_cast<UInt32>(frames * sizeof(float)), samples};
    }
}

} // namespace qel::fuzz
