#pragma once

#include "support/runtime/CAAutoDisposer.h"
#include "support/runtime/CAReferenceCounted.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <cstdio>

namespace qel::core {

// A shared AudioChannelLayout that does not change once it is made: copies share it, SetWithTag and
// assignment turn to another one. Several threads may hold copies; each copy is for one thread.
class CAAudioChannelLayout {
public:
    // No layout.
    CAAudioChannelLayout() = default;

    // The usual layout for 1, 2 and 4 to 8 channels, as a tag without descriptions; `alternate`
    // chooses another for 2, 4, 5 and 6. Any other number gives that many unknown channels.
    CAAudioChannelLayout(unsigned int channels, bool alternate);

    // A copy of `layout`, which may be null.
    explicit CAAudioChannelLayout(const AudioChannelLayout* layout) { Set(layout); }

    CAAudioChannelLayout(const CAAudioChannelLayout& other);
    CAAudioChannelLayout& operator=(const CAAudioChannelLayout& other);
    CAAudioChannelLayout& operator=(const AudioChannelLayout* layout);
    ~CAAudioChannelLayout();

    // A tag without descriptions.
    void SetWithTag(AudioChannelLayoutTag tag);

    bool IsValid() const { return mLayout != nullptr; }
    // The layout inside, or null; it lives as long as a wrapper holds it.
    const AudioChannelLayout* Layout() const;
    // NOLINTNEXTLINE(google-explicit-constructor): passed wherever a layout is expected.
    operator const AudioChannelLayout*() const { return Layout(); }
    // Bytes of the layout with its descriptions; 0 without one.
    UInt32 Size() const;
    // 0 without a layout.
    UInt32 NumberChannels() const;

    // Channels that a layout describes: by its descriptions, by its bitmap, else by its tag.
    static UInt32 NumberChannels(const AudioChannelLayout& layout);
    // Bytes of a layout with that many descriptions. Raises std::bad_alloc beyond 32 bits.
    static UInt32 CalculateByteSize(unsigned int descriptions);
    // A layout with that many unknown channels. It may be read as a whole AudioChannelLayout, with
    // its one description, also if it has none. Give it back with Destroy.
    static AudioChannelLayout* Create(unsigned int descriptions);
    static void Destroy(AudioChannelLayout* layout);
    // Makes all channels unknown, in a layout that has room for `descriptions` of them.
    static void SetAllToUnknown(AudioChannelLayout& layout, unsigned int descriptions);

    void Print(std::FILE* stream) const;

private:
    class RefCountedLayout : public CAReferenceCounted {
    public:
        explicit RefCountedLayout(AudioChannelLayout* layout);
        AudioChannelLayout* Layout() const { return mLayout; }
        UInt32 ByteSize() const { return mByteSize; }

    private:
        UInt32 mByteSize;
        CAAutoFree<AudioChannelLayout> mLayout;
    };

    void Set(const AudioChannelLayout* layout);
    void TakeOver(AudioChannelLayout* layout);

    RefCountedLayout* mLayout = nullptr;
};

// Whether tag, bitmap and all descriptions are equal.
bool operator==(const AudioChannelLayout& a, const AudioChannelLayout& b);
// The same for what is inside; without a layout equals without a layout.
bool operator==(const CAAudioChannelLayout& a, const CAAudioChannelLayout& b);

void CAShowAudioChannelLayout(std::FILE* stream, const AudioChannelLayout& layout);

} // namespace qel::core
