#pragma once

#include <QString>

#include <span>

namespace fetra::cli {

enum class Option {
    output,
    connections,
    input,
    maxDownloads,
    state,
    mirror,
    sha256,
    header,
    uploadLimit,
    seed,
    name,
    noResume,
    json,
    quiet,
    log,
    help,
    version
};

/// Bits, for a set of them.
enum Command : unsigned { get = 1, probe = 2, add = 4, list = 8, everyCommand = 15 };

struct OptionRule {
    Option option;
    char16_t shortName;
    QLatin1StringView longName;
    /// What the option needs after it, with an example; empty for a switch.
    QLatin1StringView value;
    /// Where it has a meaning.
    unsigned commands;
};

struct CommandName {
    QLatin1StringView name;
    Command command;
    /// The options it takes, in words; empty where all are.
    QLatin1StringView options;
};

/// What words there are on a command line, and where they belong.
namespace OptionRules {

[[nodiscard]] std::span<const OptionRule> all();
/// `get` comes first.
[[nodiscard]] std::span<const CommandName> commands();

/// By the name after the hyphens; null for any other.
[[nodiscard]] const OptionRule* findLong(QStringView name);
[[nodiscard]] const OptionRule* findShort(QChar name);
/// Whether a whole word begins with an option, or is "--".
[[nodiscard]] bool isKnownOption(const QString& word);

} // namespace OptionRules
} // namespace fetra::cli
