#include "OptionRules.h"

#include <QList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr std::array rules{
    OptionRule{Option::output, u'o', "output"_L1, "a folder or a file after it, as in -o downloads/"_L1,
               get | add},
    OptionRule{Option::connections, u'x', "connections"_L1, "a number from 1 to 64 after it, as in -x 16"_L1,
               get},
    OptionRule{Option::input, u'i', "input"_L1, "a file with links after it, or - for standard input"_L1,
               get},
    OptionRule{Option::maxDownloads, u'j', "max-downloads"_L1,
               "a number from 1 to 100 after it, as in -j 3"_L1, get},
    OptionRule{Option::state, 0, "state"_L1, "a file after it, as in --state list.json"_L1, get | list},
    OptionRule{Option::mirror, u'm', "mirror"_L1,
               "another address of the same file after it, as in -m https://mirror.example.com/file.zip"_L1,
               get},
    OptionRule{Option::sha256, 0, "sha256"_L1,
               "the 64 hexadecimal digits after it, as printed by sha256sum"_L1, get},
    OptionRule{Option::header, u'H', "header"_L1, "a header after it, as in -H 'Name: value'"_L1,
               get | probe},
    OptionRule{Option::uploadLimit, 0, "upload-limit"_L1, "KB a second after it, as in --upload-limit 64"_L1,
               get},
    OptionRule{Option::seed, 0, "seed"_L1, {}, get},
    OptionRule{Option::name, 0, "name"_L1, "a file's name after it, as in --name disk.iso"_L1, add},
    OptionRule{Option::noResume, 0, "no-resume"_L1, {}, get},
    OptionRule{Option::json, 0, "json"_L1, {}, get | list},
    OptionRule{Option::quiet, u'q', "quiet"_L1, {}, get},
    OptionRule{Option::log, 0, "log"_L1, "debug, info, warn or error after it, as in --log info"_L1,
               everyCommand},
    OptionRule{Option::help, u'h', "help"_L1, {}, everyCommand},
    OptionRule{Option::version, 0, "version"_L1, {}, everyCommand},
};

constexpr std::array commandNames{
    CommandName{"get"_L1, get, "all options but --name"_L1},
    CommandName{"probe"_L1, probe, "--header and --log"_L1},
    CommandName{"add"_L1, add, "--output, --name and --log"_L1},
    CommandName{"list"_L1, list, "--state, --json and --log"_L1},
};

} // namespace

std::span<const OptionRule> OptionRules::all() {
    return rules;
}

std::span<const CommandName> OptionRules::commands() {
    return commandNames;
}

const OptionRule* OptionRules::findLong(QStringView name) {
    const auto* rule =
        std::find_if(rules.begin(), rules.end(), [&](const OptionRule& r) { return r.longName == name; });
    return rule == rules.end() ? nullptr : rule;
}

const OptionRule* OptionRules::findShort(QChar name) {
    const auto* rule = std::find_if(rules.begin(), rules.end(),
                                    [&](const OptionRule& r) { return r.shortName && r.shortName == name; });
    return rule == rules.end() ? nullptr : rule;
}

bool OptionRules::isKnownOption(const QString& word) {
    if (word.startsWith("--"_L1))
        return word.size() == 2 || findLong(QStringView(word).mid(2).split(u'=').first());
    return word.size() > 1 && word[0] == u'-' && findShort(word[1]);
}

} // namespace fetra::cli
