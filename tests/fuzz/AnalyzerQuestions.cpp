// What an analyzer is asked: parameters, properties, dictionaries, and all of it without a handle.

#include "tests/fuzz/AnalyzerRun.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <vector>

namespace qel::fuzz {
namespace {

const CFStringRef kParameters[] = {
    kQelAnalysisParameter_GenreHint,        kQelAnalysisParameter_Complexity,
    kQelAnalysisParameter_MinBPM,           kQelAnalysisParameter_MaxBPM,
    kQelAnalysisParameter_OnsetSensitivity, CFSTR("volume")};

} // namespace

void AnalyzerRun::UseParameter() {
    const CFStringRef name = mProgram.Seldom(16) ? nullptr : mProgram.OneOf(kParameters);
    constexpr float kValues[] = {0.0f, 1.0f, 2.0f, 3.0f, 50.0f, 100.0f, 120.0f, -1.0f};
    const float value = mProgram.Seldom(4) ? mProgram.Float() : mProgram.OneOf(kValues);
    float read = 0.0f;
    const auto set =
        Guarded(false, [&] { return QelAudioAnalysisSetParameter(mHandle, name, value); });
    const auto got =
        Guarded(false, [&] { return QelAudioAnalysisGetParameter(mHandle, name, &read); });
    if (!set || !got) {
        return;
    }
    Require(*set == *got, "a parameter can be read where it can be set");
    Require(*set == 0 || *set == kAudioAnalysisErr_UnknownProperty, "a parameter has an owner");
    mIsComplex = mIsComplex ||
                 (name == kQelAnalysisParameter_Complexity && !(value < 3.0f && value >= 0.0f));
    mCheck->Facts().isPlain = false; // as odd values do what they do
}

void AnalyzerRun::AskProperty() {
    const CFOwner listed(QelAudioAnalysisGlobalCopyKeys());
    const auto* const names = static_cast<CFArrayRef>(listed.get());
    Require(CFArrayGetCount(names) == 30, "thirty keys are listed");
    const UInt32 id = mProgram.Seldom(8) ? mProgram.Long() : mProgram.Below(10);
    const UInt32 place = mProgram.Below(36);
    const void* specifier = nullptr;
    if (id == kQelAnalysisProperty_ParameterValueInfo) {
        specifier = kParameters[place % std::size(kParameters)];
    } else if (place < 30) {
        specifier = CFArrayGetValueAtIndex(names, static_cast<CFIndex>(place));
    }
    CFMutableArrayRef parameters = CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr);
    const CFOwner owner(parameters);
    QelAudioAnalysisKeyMetaData data{};
    void* out = id == kQelAnalysisProperty_ParameterList ? static_cast<void*>(&parameters)
                                                         : static_cast<void*>(&data);
    const bool wantsNothing = mProgram.Seldom(8);
    UInt32 size = 77;
    const auto status = Guarded(false, [&] {
        return QelAudioAnalysisGetProperty(mHandle, id, specifier, 8, wantsNothing ? nullptr : out,
                                           8, wantsNothing ? nullptr : &size);
    });
    Require(QelAudioAnalysisSetProperty(mHandle, id, specifier, 8, out, 8) ==
                kAudioAnalysisErr_UnknownProperty,
            "no property can be set");
    if (mHandle == nullptr || !status) {
        return;
    }
    const bool isValid = id <= kQelAnalysisProperty_ParameterValueInfo;
    Require(isValid || status == kAudioAnalysisErr_UnknownProperty, "ids above 8 are unknown");
    Require(size == (isValid && !wantsNothing ? 8u : 77u), "every valid id tells a size");
}

void AnalyzerRun::AskDictionary() {
    const CFOwner listed(QelAudioAnalysisGlobalCopyKeys());
    const auto place = static_cast<CFIndex>(mProgram.Below(30));
    const auto key = static_cast<CFStringRef>(
        CFArrayGetValueAtIndex(static_cast<CFArrayRef>(listed.get()), place));
    const auto kind = kKeys[place].payload;
    // Blocks that hold pointers may not be made up.
    const bool isOfFloats = kind == PayloadKind::Floats || kind == PayloadKind::Vector ||
                            kind == PayloadKind::ComplexPairs || kind == PayloadKind::Count;
    const UInt32 count = mProgram.Below(9);
    std::vector<std::vector<float>> payloads;
    std::vector<QelAudioAnalysisBlock> blocks;
    for (UInt32 i = 0; i < count; ++i) {
        const UInt32 floats = mProgram.Below(mProgram.Coin() ? 4 : 40);
        const UInt32 spare = mProgram.Below(4);
        payloads.emplace_back(floats + 1, mProgram.Float());
        const bool isThere = isOfFloats && !mProgram.Seldom(4);
        blocks.push_back({isThere ? payloads.back().data() : nullptr,
                          isThere ? static_cast<UInt32>(floats * sizeof(float) + spare) : 0});
    }
    if (kind == PayloadKind::Name && count > 0) {
        return; // a name is no memory
    }
    CFPropertyListRef list = nullptr;
    Guarded(false, [&] {
        list = QelAudioAnalysisCreateCFRepresentation(mHandle, kCFAllocatorDefault, key, count,
                                                      count != 0 ? blocks.data() : nullptr);
        return 0;
    });
    if (list != nullptr) {
        ReadAll(list);
        CFRelease(list);
    }
}

void AnalyzerRun::UseNullHandle() {
    const Setup setup = Setup::Any(mProgram);
    UInt32 size = 0;
    float value = 5.0f;
    Require(QelAudioAnalysisInitialize(nullptr, setup.maxFrames, &setup.format, nullptr, 0) ==
                (setup.IsCanonical() ? kAudioAnalysisErr_NullHandle : kAudioAnalysisErr_BadFormat),
            "a null handle is not initialized");
    Require(QelAudioAnalysisInitialize(nullptr, 0, nullptr, nullptr, 0) ==
                kAudioAnalysisErr_BadFormat,
            "a null format is not canonical");
    for (const SInt32 status :
         {QelAudioAnalysisPushAudio(nullptr, 0, nullptr),
          QelAudioAnalysisProcess(nullptr, 1, nullptr, nullptr), QelAudioAnalysisReset(nullptr),
          QelAudioAnalysisGetProperty(nullptr, 1, nullptr, 0, nullptr, 0, &size)}) {
        Require(status == kAudioAnalysisErr_NotInitialized, "a null handle does nothing");
    }
    Require(QelAudioAnalysisGetParameter(nullptr, kParameters[0], &value) == 0 &&
                QelAudioAnalysisSetParameter(nullptr, kParameters[0], 1.0f) == 0 && value == 5.0f,
            "a null handle has no parameters");
    Require(QelAudioAnalysisCreateCFRepresentation(nullptr, nullptr, kParameters[0], 0, nullptr) ==
                nullptr,
            "a null handle has no dictionaries");
    Require(QelAudioAnalysisDispose(nullptr) == 0, "a null handle can be disposed of");
}

} // namespace qel::fuzz
