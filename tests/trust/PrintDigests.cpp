// Prints the digests of all keys of one stream, for a test that compares processes.

#include "tests/trust/DigestText.h"

#include <cstdio>

int main() {
    using namespace qel::trust;
    const Stream stream = DigestStream();
    const auto keys = MakeKeyList(AllKeys());
    Client client(keys.Get(), stream.setup);
    if (client.New() != 0 || client.Initialize() != 0) {
        return 1;
    }
    std::fputs(DigestText(stream.Run(client)).c_str(), stdout);
    return 0;
}
