// A client of the exported functions that keeps digests of what it gets. It allocates nothing while
// it calls or is called, so that all requests for memory are the library's.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/trust/Digests.h"

#include <QelAudioAnalysis.h>

#include <string>
#include <vector>

namespace qel::trust {

// A list of keys as New takes it. It retains its strings.
test::CFOwner<CFMutableArrayRef> MakeKeyList(const std::vector<std::string>& keys);

class Client {
public:
    // Makes no handle yet. `keys` outlives the client.
    Client(CFArrayRef keys, const test::StreamSetup& setup);
    ~Client() { Dispose(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Each is the exported function of that name, and returns its status.
    SInt32 New();
    SInt32 Initialize();
    SInt32 Push(const test::Audio& audio, std::size_t firstFrame, UInt32 frames);
    // `channels` pointers to samples, each to `frames` of them.
    SInt32 Push(const float* const* channels, UInt32 frames);
    SInt32 Process(UInt8 flush);
    SInt32 Reset();
    SInt32 Dispose(); // of no handle too

    // Every parameter to a value other than its default, and read again; the sum of all statuses.
    SInt32 SetParameters();
    // Every property once, of every key; the sum of all statuses.
    SInt32 AskProperties();

    QelAudioAnalysisRef Handle() const { return mHandle; }
    const Digests& Results() const { return mResults; }
    void Forget() { mResults = Digests(); }

    using Hook = void (*)(Client& client, CFStringRef key, UInt32 count,
                          QelAudioAnalysisBlock* blocks, void* context);
    // Called at the start of every data callback, with the callback's own arguments; and, with a
    // null key, of every call of the progress callback.
    void OnCallback(Hook hook, void* context) {
        mHook = hook;
        mHookContext = context;
    }

private:
    static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon);
    static int Progress(void* unused, float percent, void* refCon);

    CFArrayRef mKeys;
    test::StreamSetup mSetup;
    test::CFOwner<CFMutableArrayRef> mParameterNames;
    QelAudioAnalysisRef mHandle = nullptr;
    Digests mResults;
    Hook mHook = nullptr;
    void* mHookContext = nullptr;
};

} // namespace qel::trust
