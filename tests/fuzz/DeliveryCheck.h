#pragma once

#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/ClientScope.h"

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/Keys.hpp>

namespace qel::fuzz {

// What a stream of the analyzer is like, as far as deliveries depend on it.
struct StreamFacts {
    QelAudioAnalysisRef handle = nullptr;
    UInt32 channels = 0;
    double rateHz = 0.0;
    // Whether the table's ranges are promised: a rate of audio, samples of at most 1e6, and no
    // memory that ran out.
    bool isPlain = false;
    bool isEmptyPush = false;
};

// Holds what arrives in the data callback to the table of keys: who sends it, how many blocks and
// how large, that every byte of it can be read, and that plain streams give values in their ranges.
// Sometimes asks for the dictionary as well.
class DeliveryCheck {
public:
    DeliveryCheck(ByteProgram& program, const ClientEnvironment& environment)
        : mProgram(program), mEnvironment(environment) {}
    DeliveryCheck(const DeliveryCheck&) = delete;
    DeliveryCheck& operator=(const DeliveryCheck&) = delete;

    StreamFacts& Facts() { return mFacts; }

    // The data callback; `refCon` is the check.
    static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon);

private:
    void Check(CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks);
    void CheckFloats(const KeyInfo& info, const QelAudioAnalysisBlock& block) const;
    void CheckEvents(const KeyInfo& info, const QelAudioAnalysisBlock& block) const;
    void CheckPartials(const QelAudioAnalysisBlock& block) const;
    void CheckRanges(const KeyInfo& info, const QelAudioAnalysisBlock& block) const;
    void CheckFramesAtEnd(const KeyInfo& info, UInt32 count,
                          const QelAudioAnalysisBlock* blocks) const;
    void CheckValue(const ValueInfo& value, double figure) const;
    void AskForDictionary(CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks);

    ByteProgram& mProgram;
    const ClientEnvironment& mEnvironment;
    StreamFacts mFacts;
    int mDictionariesLeft = 4; // they take longer than what they are made of
};

// Reads a property list to its last leaf.
void ReadAll(CFTypeRef object);

} // namespace qel::fuzz
