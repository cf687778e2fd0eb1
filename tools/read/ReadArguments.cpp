#include "tools/read/ReadArguments.h"

#include "tools/qel/Arguments.h"

namespace qel::tool {

CLI::App* AddRead(CLI::App& app, ReadOptions& options) {
    CLI::App* command =
        app.add_subcommand("read", "Print tempo, bars, key, loudness and bandwidth of audio files; "
                                   "\"qel FILE...\" does the same");
    command->add_option("FILE", options.files, "Audio files")->required();
    AddChoice<ReadFormat>(command, "--format", options.format,
                          {{"text", ReadFormat::Text},
                           {"json", ReadFormat::Json},
                           {"csv", ReadFormat::Csv},
                           {"tsv", ReadFormat::Tsv},
                           {"labels", ReadFormat::Labels}},
                          "text (default): a block per file; json: an object per file; csv, tsv: a "
                          "row per file; labels: a label track of one list of one file");
    AddRepeatable(command, "--only", options.only,
                  "Readings to print, separated by commas: tempo, bars, key, loudness, bandwidth. "
                  "Default: all of them")
        ->type_name("LIST");
    command->add_flag("--beats", options.beats, "List the beats");
    command->add_flag("--down-beats", options.downBeats, "List the beats at which bars begin");
    command->add_flag("--onsets", options.onsets, "List the onsets");
    command->add_flag("--key-segments", options.keySegments, "List the stretches of one key");
    command->add_flag("--pitch", options.pitch, "List the pitch of one voice, frame by frame");
    command
        ->add_option("--output", options.output,
                     "Output file, default - (standard output). Missing directories are created")
        ->type_name("PATH");
    command->add_flag("--overwrite", options.overwrite,
                      "Replace an existing output; without this option it is refused");
    command->add_flag("--quiet", options.quiet, "Draw no progress bar");
    return command;
}

} // namespace qel::tool
