// The module qelaudio._page: what the page of a song shows, and the list of its lanes. It is a
// module of its own, as it alone needs the decoder and the pages' library.

#include "bindings/python/src/MediaFaults.h"
#include "bindings/python/src/PythonLock.h"
#include "bindings/python/src/SignalWatch.h"
#include "output/files/TextSink.h"
#include "page/SongCollector.h"
#include "page/SongPage.h"
#include "page/pictures/LaneList.h"

#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <array>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace qel::python {
namespace {

namespace nb = nanobind;

// A file in memory, which the page is written to.
class MemoryFile {
public:
    MemoryFile() : mDescriptor(Checked(memfd_create("page", MFD_CLOEXEC))) {}
    ~MemoryFile() { close(mDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Another descriptor of it, for a sink that closes what it gets.
    int Duplicate() const { return Checked(dup(mDescriptor)); }

    std::string Content() const {
        std::string content(static_cast<std::size_t>(Checked(lseek(mDescriptor, 0, SEEK_END))),
                            '\0');
        std::size_t done = 0;
        while (done < content.size()) {
            done += static_cast<std::size_t>(
                Checked(pread(mDescriptor, content.data() + done, content.size() - done,
                              static_cast<off_t>(done))));
        }
        return content;
    }

private:
    template <class Number>
    static Number Checked(Number result) {
        if (result < 0) {
            throw std::system_error(errno, std::generic_category(), "the page in memory");
        }
        return result;
    }

    int mDescriptor;
};

std::string PageOf(const std::string& path, const page::PageTemplate& pageTemplate, bool hasAudio,
                   SignalWatch& watch) {
    const page::Song song = page::CollectSong(
        path, {.begin = {}, .advance = [&watch](std::int64_t) { watch.Check(0); }});
    std::optional<page::AudioCopy> audio;
    if (hasAudio) {
        audio.emplace(path, song.report);
    }
    const MemoryFile file;
    output::TextSink sink(file.Duplicate(), "the page");
    page::PageWriter writer(sink, pageTemplate);
    WriteSongPage(writer, song, audio ? &*audio : nullptr);
    sink.Close();
    return file.Content();
}

// The page of a file as HTML; without a template it is the data alone.
nb::bytes Write(const nb::bytes& name, const nb::object& pageTemplate, bool hasAudio) {
    const std::string path(name.c_str(), name.size());
    const page::PageTemplate filled = pageTemplate.is_none()
                                          ? page::PageTemplate()
                                          : page::PageTemplate(nb::cast<std::string>(pageTemplate));
    SignalWatch watch;
    try {
        const std::string page = [&] {
            const WithoutPythonLock unlocked;
            return PageOf(path, filled, hasAudio, watch);
        }();
        return nb::bytes(page.data(), page.size());
    } catch (const media::Error& error) {
        RaiseFileError(error, path);
    } catch (const page::SongError& error) {
        RaiseFileError(error.what(), "not audio", path);
    }
}

} // namespace
} // namespace qel::python

NB_MODULE(_page, module) {
    using namespace qel::python;
    using namespace nanobind::literals;
    RequireMainInterpreter();
    nb::set_leak_warnings(false); // see _core
    qel::media::silenceLibraries();
    module.def("write", &Write, "path"_a, "template"_a.none(), "audio"_a,
               "The page of a file as HTML; without the path of a template, its data alone.");
    module.def(
        "lanes", [] { return qel::page::LaneList::Text(); },
        "The list of lanes and marks, in JSON.");
}
