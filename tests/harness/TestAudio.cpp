#include "tests/harness/TestAudio.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"

#include <bit>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace qel::test {
namespace {

constexpr std::uint32_t kInteger = 1; // format codes of WAV
constexpr std::uint32_t kFloat = 3;

void Append(std::string& text, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    }
}

std::string Header(int rateHz, std::size_t channels, std::size_t dataBytes, std::uint32_t code,
                   std::uint32_t sampleBytes) {
    const auto count = static_cast<std::uint32_t>(channels);
    const auto bytes = static_cast<std::uint32_t>(dataBytes);
    const auto rate = static_cast<std::uint32_t>(rateHz);
    std::string text = "RIFF";
    Append(text, 36 + bytes, 4);
    text += "WAVEfmt ";
    Append(text, 16, 4);
    Append(text, code, 2);
    Append(text, count, 2);
    Append(text, rate, 4);
    Append(text, rate * count * sampleBytes, 4);
    Append(text, count * sampleBytes, 2);
    Append(text, 8 * sampleBytes, 2);
    text += "data";
    Append(text, bytes, 4);
    return text;
}

std::string Integers(const Planes& planes) {
    std::string text;
    for (std::size_t n = 0; n < planes.front().size(); ++n) {
        for (const std::vector<float>& plane : planes) {
            Append(text, static_cast<std::uint32_t>(std::lround(plane[n] * 32767.0f)), 2);
        }
    }
    return text;
}

} // namespace

void WriteFloatWav(const std::string& path, int rateHz, const Planes& planes) {
    const std::size_t frames = planes.front().size();
    std::string text = Header(rateHz, planes.size(), 4 * frames * planes.size(), kFloat, 4);
    for (std::size_t n = 0; n < frames; ++n) {
        for (const std::vector<float>& plane : planes) {
            Append(text, std::bit_cast<std::uint32_t>(plane[n]), 4);
        }
    }
    WriteFile(path, text);
}

void WriteWav(const std::string& path, int rateHz, const Planes& planes) {
    const std::string samples = Integers(planes);
    WriteFile(path, Header(rateHz, planes.size(), samples.size(), kInteger, 2) + samples);
}

void WriteRepeatedWav(const std::string& path, int rateHz, const std::vector<float>& samples,
                      std::size_t times) {
    const std::string piece = Integers({samples});
    std::ofstream file(path, std::ios::binary);
    file << Header(rateHz, 1, piece.size() * times, kInteger, 2);
    for (std::size_t i = 0; i < times; ++i) {
        file << piece;
    }
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

void Encode(const std::string& wav, const std::string& path,
            const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"ffmpeg", "-v", "error", "-y", "-i", wav};
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.push_back(path);
    const ChildResult result = RunChild(command);
    if (result.status != 0) {
        throw std::runtime_error("ffmpeg: " + result.err);
    }
}

} // namespace qel::test
