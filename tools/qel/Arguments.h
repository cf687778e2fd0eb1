#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

namespace qel::tool {

// Options of several subcommands, in the words of the parser.

// An option that may be given more than once must not take the files behind it for its values.
inline CLI::Option* AddRepeatable(CLI::App* command, const std::string& name,
                                  std::vector<std::string>& values, const std::string& help) {
    return command->add_option(name, values, help)->allow_extra_args(false);
}

// An option whose value is one of a few words.
template <typename Choice>
void AddChoice(CLI::App* command, const std::string& name, Choice& choice,
               const std::map<std::string, Choice>& words, const std::string& help) {
    command
        ->add_option_function<std::string>(
            name, [&choice, words](const std::string& word) { choice = words.at(word); }, help)
        ->check(CLI::IsMember(words))
        ->type_name("WORD");
}

} // namespace qel::tool
