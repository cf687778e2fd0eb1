#include "tools/qel/StreamAnalysis.h"

#include "output/files/Interrupt.h"
#include "tools/qel/KeyList.h"

#include <string>

namespace qel::tool {
namespace {

BlockAnalyzer MakeAnalyzer(const std::vector<const KeyInfo*>& keys,
                           const BlockAnalyzer::Parameters& parameters, const StreamSetup& setup) {
    const output::Interrupt::AtOnce atOnce;
    return {NamesOf(keys), parameters, setup};
}

} // namespace

StreamAnalysis::StreamAnalysis(const std::vector<const KeyInfo*>& keys,
                               const BlockAnalyzer::Parameters& parameters,
                               const StreamSetup& setup)
    : mAnalyzer(MakeAnalyzer(keys, parameters, setup)) {}

void StreamAnalysis::OnResult(const ResultCallback& callback) {
    mAnalyzer.onResult(callback);
}

void StreamAnalysis::Push(std::span<const float* const> channels, std::size_t count) {
    mAnalyzer.push(channels, count, output::Interrupt::Check);
}

SInt32 StreamAnalysis::Finish(const Progress& progress) {
    return mAnalyzer.finish(progress);
}

void StreamAnalysis::Reset() {
    mAnalyzer.reset();
}

KeyMetaData StreamAnalysis::MetaData(const KeyInfo& info) const {
    return mAnalyzer.metaData(std::string(info.key));
}

} // namespace qel::tool
