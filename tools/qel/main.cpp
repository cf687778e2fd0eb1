#include "tools/qel/CommandLine.h"

int main(int argc, char** argv) {
    return qel::tool::RunCommandLine(argc, argv);
}
