#include "support/audio/CAAudioChannelLayout.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {

namespace {

constexpr std::size_t kHeaderBytes = offsetof(AudioChannelLayout, mChannelDescriptions);

// The layouts by number of channels, 1 to 8; 0 has none.
constexpr AudioChannelLayoutTag kUsualTags[] = {
    0,
    kAudioChannelLayoutTag_Mono,
    kAudioChannelLayoutTag_Stereo,
    0,
    kAudioChannelLayoutTag_Quadraphonic,
    kAudioChannelLayoutTag_Pentagonal,
    kAudioChannelLayoutTag_Hexagonal,
    kAudioChannelLayoutTag_AudioUnit_7_0,
    kAudioChannelLayoutTag_Octagonal,
};
constexpr AudioChannelLayoutTag kAlternateTags[] = {
    0,
    kAudioChannelLayoutTag_Mono,
    kAudioChannelLayoutTag_Binaural,
    0,
    kAudioChannelLayoutTag_Ambisonic_B_Format,
    kAudioChannelLayoutTag_MPEG_5_0_B,
    kAudioChannelLayoutTag_AudioUnit_6_0,
    kAudioChannelLayoutTag_AudioUnit_7_0,
    kAudioChannelLayoutTag_Octagonal,
};

AudioChannelLayoutTag TagFor(unsigned int channels, bool alternate) {
    if (channels >= std::size(kUsualTags)) {
        return 0;
    }
    return alternate ? kAlternateTags[channels] : kUsualTags[channels];
}

bool SameDescription(const AudioChannelDescription& a, const AudioChannelDescription& b) {
    return a.mChannelLabel == b.mChannelLabel && a.mChannelFlags == b.mChannelFlags &&
           std::equal(std::begin(a.mCoordinates), std::end(a.mCoordinates),
                      std::begin(b.mCoordinates));
}

} // namespace

CAAudioChannelLayout::RefCountedLayout::RefCountedLayout(AudioChannelLayout* layout)
    : mByteSize(CalculateByteSize(layout->mNumberChannelDescriptions)), mLayout(layout) {}

CAAudioChannelLayout::CAAudioChannelLayout(unsigned int channels, bool alternate) {
    if (const AudioChannelLayoutTag tag = TagFor(channels, alternate); tag != 0) {
        SetWithTag(tag);
    } else {
        TakeOver(Create(channels));
    }
}

CAAudioChannelLayout::CAAudioChannelLayout(const CAAudioChannelLayout& other)
    : mLayout(other.mLayout) {
    if (mLayout != nullptr) {
        mLayout->retain();
    }
}

CAAudioChannelLayout& CAAudioChannelLayout::operator=(const CAAudioChannelLayout& other) {
    CAAudioChannelLayout copy(other);
    std::swap(mLayout, copy.mLayout);
    return *this;
}

CAAudioChannelLayout& CAAudioChannelLayout::operator=(const AudioChannelLayout* layout) {
    Set(layout);
    return *this;
}

CAAudioChannelLayout::~CAAudioChannelLayout() {
    if (mLayout != nullptr) {
        mLayout->release();
    }
}

void CAAudioChannelLayout::SetWithTag(AudioChannelLayoutTag tag) {
    AudioChannelLayout* const layout = Create(0);
    layout->mChannelLayoutTag = tag;
    TakeOver(layout);
}

void CAAudioChannelLayout::Set(const AudioChannelLayout* layout) {
    if (layout == nullptr) {
        *this = CAAudioChannelLayout();
        return;
    }
    AudioChannelLayout* const copy = Create(layout->mNumberChannelDescriptions);
    std::memcpy(copy, layout, CalculateByteSize(layout->mNumberChannelDescriptions));
    TakeOver(copy);
}

// Owns `layout`, from Create, also if making the shared holder fails.
void CAAudioChannelLayout::TakeOver(AudioChannelLayout* layout) {
    CAAutoFree<AudioChannelLayout> owner(layout);
    CAAudioChannelLayout taken;
    taken.mLayout = new RefCountedLayout(layout);
    static_cast<void>(owner.release());
    std::swap(mLayout, taken.mLayout);
}

const AudioChannelLayout* CAAudioChannelLayout::Layout() const {
    return mLayout != nullptr ? mLayout->Layout() : nullptr;
}

UInt32 CAAudioChannelLayout::Size() const {
    return mLayout != nullptr ? mLayout->ByteSize() : 0;
}

UInt32 CAAudioChannelLayout::NumberChannels() const {
    return mLayout != nullptr ? NumberChannels(*mLayout->Layout()) : 0;
}

UInt32 CAAudioChannelLayout::NumberChannels(const AudioChannelLayout& layout) {
    switch (layout.mChannelLayoutTag) {
    case kAudioChannelLayoutTag_UseChannelDescriptions:
        return layout.mNumberChannelDescriptions;
    case kAudioChannelLayoutTag_UseChannelBitmap:
        return static_cast<UInt32>(std::popcount(layout.mChannelBitmap));
    default:
        return layout.mChannelLayoutTag & 0xFFFF;
    }
}

UInt32 CAAudioChannelLayout::CalculateByteSize(unsigned int descriptions) {
    const std::uint64_t bytes =
        kHeaderBytes + std::uint64_t{descriptions} * sizeof(AudioChannelDescription);
    if (bytes > std::numeric_limits<UInt32>::max()) {
        throw std::bad_alloc();
    }
    return static_cast<UInt32>(bytes);
}

AudioChannelLayout* CAAudioChannelLayout::Create(unsigned int descriptions) {
    CAAutoFree<AudioChannelLayout> layout;
    layout.allocBytes(
        std::max<std::size_t>(CalculateByteSize(descriptions), sizeof(AudioChannelLayout)), true);
    SetAllToUnknown(*layout, descriptions);
    return layout.release();
}

void CAAudioChannelLayout::Destroy(AudioChannelLayout* layout) {
    std::free(layout);
}

void CAAudioChannelLayout::SetAllToUnknown(AudioChannelLayout& layout, unsigned int descriptions) {
    layout.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
    layout.mChannelBitmap = 0;
    layout.mNumberChannelDescriptions = descriptions;
    for (unsigned int i = 0; i < descriptions; ++i) {
        layout.mChannelDescriptions[i] =
            AudioChannelDescription{kAudioChannelLabel_Unknown, 0, {0, 0, 0}};
    }
}

void CAAudioChannelLayout::Print(std::FILE* stream) const {
    if (mLayout != nullptr) {
        CAShowAudioChannelLayout(stream, *mLayout->Layout());
    } else {
        std::fputs("AudioChannelLayout: none\n", stream);
    }
}

bool operator==(const AudioChannelLayout& a, const AudioChannelLayout& b) {
    if (a.mChannelLayoutTag != b.mChannelLayoutTag || a.mChannelBitmap != b.mChannelBitmap ||
        a.mNumberChannelDescriptions != b.mNumberChannelDescriptions) {
        return false;
    }
    for (UInt32 i = 0; i < a.mNumberChannelDescriptions; ++i) {
        if (!SameDescription(a.mChannelDescriptions[i], b.mChannelDescriptions[i])) {
            return false;
        }
    }
    return true;
}

bool operator==(const CAAudioChannelLayout& a, const CAAudioChannelLayout& b) {
    const AudioChannelLayout* const first = a.Layout();
    const AudioChannelLayout* const second = b.Layout();
    return first == second || (first != nullptr && second != nullptr && *first == *second);
}

void CAShowAudioChannelLayout(std::FILE* stream, const AudioChannelLayout& layout) {
    std::fprintf(
        stream,
        "AudioChannelLayout: tag %" PRIu32 ", bitmap 0x%" PRIX32 ", %" PRIu32 " descriptions\n",
        layout.mChannelLayoutTag, layout.mChannelBitmap, layout.mNumberChannelDescriptions);
    for (UInt32 i = 0; i < layout.mNumberChannelDescriptions; ++i) {
        const AudioChannelDescription& channel = layout.mChannelDescriptions[i];
        std::fprintf(stream,
                     "  [%" PRIu32 "] label %" PRId32 ", flags 0x%" PRIX32 ", (%g, %g, %g)\n", i,
                     static_cast<SInt32>(channel.mChannelLabel), channel.mChannelFlags,
                     static_cast<double>(channel.mCoordinates[0]),
                     static_cast<double>(channel.mCoordinates[1]),
                     static_cast<double>(channel.mCoordinates[2]));
    }
}

} // namespace qel::core
