// A reader of files: the samples of a WAV of 16 bits, and the reason why a missing file has none.
#include <QelMedia.hpp>

#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

// One channel at 8000 Hz: the sizes of form, format and data, then the samples.
void writeWav(const std::string& path) {
    const char header[] =
        "RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0"
        "data\x08\0\0\0\0\0\0\x40\0\x80\xFF\x7F";
    std::ofstream(path, std::ios::binary).write(header, sizeof header - 1);
}

std::vector<float> samplesOf(const std::string& path) {
    qel::media::Reader reader(path, {.blockFrames = 3});
    std::vector<float> samples;
    for (auto block = reader.read(); block.frames > 0; block = reader.read()) {
        samples.insert(samples.end(), block.channels[0], block.channels[0] + block.frames);
    }
    return reader.sampleRateHz() == 8000 ? samples : std::vector<float>();
}

bool isRefused(const std::string& path) {
    try {
        qel::media::Reader reader(path);
        return false;
    } catch (const qel::media::Error& error) {
        return error.fault() == qel::media::Fault::Unreadable;
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string path = std::string(argc > 1 ? argv[1] : ".") + "/client.wav";
    try {
        writeWav(path);
        // Full scale is 2^15.
        if (samplesOf(path) != std::vector<float>{0, 0.5f, -1, 32767.0f / 32768}) {
            std::cerr << "reader of files: other samples\n";
            return 1;
        }
        if (!isRefused(path + ".missing")) {
            std::cerr << "reader of files: a missing file is not told\n";
            return 1;
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "reader of files: " << error.what() << '\n';
        return 1;
    }
}
