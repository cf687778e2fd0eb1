#pragma once

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <map>
#include <string>
#include <vector>

namespace qel::tool {

// Options of several subcommands, in the words of the parser.

// An option that may be given more than once must not take the files after it for its values.
inline CLI::Option* AddRepeatable(CLI::App* command, const std::string& name,
                                  std::vector<std::string>& values, const std::string& help) {
    return command->add_option(name, values, help)->allow_extra_args(false);
}

// Takes numbers from low to high. CLI::Range takes NaN, too.
inline CLI::Validator NumberFrom(double low, double high) {
    const auto refuse = [low, high](const std::string& text) {
        double value = 0;
        const bool isTaken =
            CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
        return isTaken ? std::string()
                       : fmt::format("Value {} not in range {} to {}", text, low, high);
    };
    return {refuse, fmt::format("FLOAT in [{} - {}]", low, high)};
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
