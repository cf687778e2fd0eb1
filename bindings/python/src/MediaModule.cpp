// The module qelaudio._media: files to samples. It is a module of its own because it alone needs
// FFmpeg's libraries, which take longer to load than all the rest.

#include "bindings/python/src/Arrays.h"
#include "bindings/python/src/MediaFaults.h"
#include "bindings/python/src/PythonLock.h"
#include "bindings/python/src/SignalWatch.h"

#include <QelMedia.hpp>

#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <optional>

namespace qel::python {
namespace {

using namespace nb::literals;

// One file, read by calls that signals end.
class FileReader {
public:
    // `path`: in the file system's own bytes.
    FileReader(const nb::bytes& path, bool isMixed, std::size_t block)
        : mPath(path.c_str(), path.size()) {
        const media::ReaderSettings settings{
            .mix = isMixed ? media::ChannelMix::Mono : media::ChannelMix::Keep,
            .blockFrames = block,
            .isCancelled = [watch = &mWatch] { return *watch && (*watch)->IsInterrupted(0); }};
        Watched([&] { mReader.emplace(mPath, settings); });
    }
    // The question of the settings has its address.
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    // The next `blocks` blocks; fewer at the end of the file, of which an array of no samples
    // tells.
    nb::object Read(std::size_t blocks) {
        const std::size_t count = mReader->channels();
        std::vector<std::vector<float>> channels(count);
        Watched([&] {
            for (std::size_t b = 0; b < blocks && Append(channels); ++b) {
            }
        });
        std::vector<float> samples = std::move(channels.front());
        const std::array<std::size_t, 2> shape{count, samples.size()};
        samples.reserve(count * samples.size());
        for (std::size_t c = 1; c < count; ++c) {
            samples.insert(samples.end(), channels[c].begin(), channels[c].end());
        }
        return ArrayOf(std::move(samples), shape);
    }

    int SampleRate() const { return mReader->sampleRateHz(); }
    std::size_t Channels() const { return mReader->channels(); }
    std::size_t FileChannels() const { return mReader->fileChannels(); }
    std::int64_t ExpectedFrames() const { return mReader->expectedFrames(); }

    // What did not end the reading, a line each.
    std::vector<std::string> Warnings() const {
        std::vector<std::string> lines;
        for (const media::Warning& warning : mReader->report().warnings) {
            lines.push_back(warning.text);
        }
        return lines;
    }

private:
    bool Append(std::vector<std::vector<float>>& channels) {
        const media::Block block = mReader->read();
        if (block.frames == 0) {
            return false;
        }
        for (std::size_t c = 0; c < channels.size(); ++c) {
            channels[c].insert(channels[c].end(), block.channels[c],
                               block.channels[c] + block.frames);
        }
        return true;
    }

    template <class Call>
    void Watched(Call call) {
        mWatch.emplace();
        try {
            const WithoutPythonLock unlocked;
            call();
        } catch (const media::Error& error) {
            mWatch->Rethrow();
            RaiseFileError(error, mPath);
        }
    }

    std::string mPath;
    std::optional<SignalWatch> mWatch; // of the call that runs
    std::optional<media::Reader> mReader;
};

std::int64_t CountFrames(const nb::bytes& name) {
    const std::string path(name.c_str(), name.size());
    SignalWatch watch;
    try {
        const WithoutPythonLock unlocked;
        return media::countFrames(path, [&watch] { return watch.IsInterrupted(0); });
    } catch (const media::Error& error) {
        watch.Rethrow();
        RaiseFileError(error, path);
    }
}

} // namespace
} // namespace qel::python

NB_MODULE(_media, module) {
    using namespace qel::python;
    using namespace nb::literals;
    RequireMainInterpreter();
    nb::set_leak_warnings(false); // see _core
    qel::media::silenceLibraries();
    nb::class_<FileReader>(module, "Reader", "One file.")
        .def(nb::init<const nb::bytes&, bool, std::size_t>(), "path"_a, "mix"_a, "block"_a)
        .def("read", &FileReader::Read, "blocks"_a,
             "The next samples, float32 of the shape (channels, n); n is 0 at the end.",
             nb::sig("def read(self, blocks: int) -> numpy.typing.NDArray[numpy.float32]"))
        .def_prop_ro("sample_rate", &FileReader::SampleRate)
        .def_prop_ro("channels", &FileReader::Channels)
        .def_prop_ro("file_channels", &FileReader::FileChannels)
        .def_prop_ro("expected_frames", &FileReader::ExpectedFrames)
        .def_prop_ro("warnings", &FileReader::Warnings);
    module.def("count_frames", &CountFrames, "path"_a, "The length of a file, by decoding it.");
    module.def("library_versions", &qel::media::libraryVersions);
}
