#include "Arguments.h"

#include "cli/ArgumentValues.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

enum class Option { output, connections, mirror, sha256, header, noResume, json, quiet, log, help, version };

struct OptionRule {
    Option option;
    char16_t shortName;
    QLatin1StringView longName;
    /// What the option needs after it, with an example; empty for a switch.
    QLatin1StringView value;
    bool forProbe;
};

constexpr std::array rules{
    OptionRule{Option::output, u'o', "output"_L1, "a folder or a file after it, as in -o downloads/"_L1,
               false},
    OptionRule{Option::connections, u'x', "connections"_L1, "a number from 1 to 64 after it, as in -x 16"_L1,
               false},
    OptionRule{Option::mirror, u'm', "mirror"_L1,
               "another address of the same file after it, as in -m https://mirror.example.com/file.zip"_L1,
               false},
    OptionRule{Option::sha256, 0, "sha256"_L1,
               "the 64 hexadecimal digits after it, as printed by sha256sum"_L1, false},
    OptionRule{Option::header, u'H', "header"_L1, "a header after it, as in -H 'Name: value'"_L1, true},
    OptionRule{Option::noResume, 0, "no-resume"_L1, {}, false},
    OptionRule{Option::json, 0, "json"_L1, {}, false},
    OptionRule{Option::quiet, u'q', "quiet"_L1, {}, false},
    OptionRule{Option::log, 0, "log"_L1, "debug, info, warn or error after it, as in --log info"_L1, true},
    OptionRule{Option::help, u'h', "help"_L1, {}, true},
    OptionRule{Option::version, 0, "version"_L1, {}, true},
};

const OptionRule* findLong(QStringView name) {
    const auto* rule =
        std::find_if(rules.begin(), rules.end(), [&](const OptionRule& r) { return r.longName == name; });
    return rule == rules.end() ? nullptr : rule;
}

const OptionRule* findShort(QChar name) {
    const auto* rule = std::find_if(rules.begin(), rules.end(),
                                    [&](const OptionRule& r) { return r.shortName && r.shortName == name; });
    return rule == rules.end() ? nullptr : rule;
}

bool isKnownOption(const QString& word) {
    if (word.startsWith("--"_L1))
        return word.size() == 2 || findLong(QStringView(word).mid(2).split(u'=').first());
    return word.size() > 1 && word[0] == u'-' && findShort(word[1]);
}

/// Reads the words one after the other into what they ask for.
class Parser {
public:
    explicit Parser(const QStringList& words)
        : words_(words) {}

    ParsedArguments parse();

private:
    enum class Command { get, probe, help };

    void readWord(const QString& word);
    void readLong(const QString& word);
    void readShorts(const QString& word);
    void readOperand(const QString& word);
    void failUnknown(const QString& spelling, const std::optional<QString>& meant);
    /// The next word as the value of `rule`, unless it is missing or an option itself.
    void readNextAsValue(const OptionRule& rule, const QString& spelling);
    void apply(const OptionRule& rule, const QString& spelling, const QString& value);
    void applyValue(Option option, const QString& value);
    void addHeader(const ArgumentValues::Header& header);
    ParsedArguments result();

    void fail(const QString& sentence) { stop(UsageError{sentence}); }
    void stop(const ParsedArguments& outcome) {
        if (!outcome_)
            outcome_ = outcome;
    }
    /// The value itself, or nothing after a failure.
    template <typename T>
    std::optional<T> checked(const ArgumentValues::Read<T>& read) {
        if (const auto* error = std::get_if<UsageError>(&read)) {
            stop(*error);
            return std::nullopt;
        }
        return std::get<T>(read);
    }

    const QStringList words_;
    qsizetype next_ = 0;
    bool onlyOperands_ = false;
    std::optional<ParsedArguments> outcome_;

    std::optional<Command> command_;
    std::optional<QString> address_;
    GetRequest get_;
    bool json_ = false;
    bool quiet_ = false;
    /// An option that only a download takes, as it was spelt.
    QString downloadOnly_;
};

ParsedArguments Parser::parse() {
    if (words_.isEmpty())
        return ShowUsage{};
    while (!outcome_ && next_ < words_.size())
        readWord(words_[next_++]);
    return outcome_ ? *outcome_ : result();
}

void Parser::readWord(const QString& word) {
    if (onlyOperands_ || !word.startsWith(u'-') || word == "-"_L1)
        readOperand(word);
    else if (word == "--"_L1)
        onlyOperands_ = true;
    else if (word.startsWith("--"_L1))
        readLong(word);
    else
        readShorts(word);
}

void Parser::readLong(const QString& word) {
    const qsizetype equals = word.indexOf(u'=');
    const QString spelling = word.left(equals);
    const OptionRule* rule = findLong(QStringView(spelling).mid(2));
    if (!rule) {
        QStringList names;
        for (const OptionRule& known : rules)
            names += known.longName;
        return failUnknown(spelling, ArgumentValues::nearest(spelling.mid(2), names));
    }
    if (rule->value.isEmpty()) {
        if (equals >= 0)
            return fail(u"The option %1 takes no value; write it alone."_s.arg(spelling));
        return apply(*rule, spelling, {});
    }
    if (equals >= 0)
        return apply(*rule, spelling, word.mid(equals + 1));
    readNextAsValue(*rule, spelling);
}

void Parser::readShorts(const QString& word) {
    // "-output" is no value "utput" of -o, but a long name that lacks a hyphen.
    const QString unhyphened = word.mid(1).section(u'=', 0, 0);
    if (unhyphened.size() > 1 && findLong(unhyphened))
        return failUnknown(u'-' + unhyphened, unhyphened);
    for (qsizetype i = 1; i < word.size() && !outcome_; ++i) {
        const QString spelling = u"-"_s + word[i];
        const OptionRule* rule = findShort(word[i]);
        if (!rule)
            return failUnknown(spelling, std::nullopt);
        if (rule->value.isEmpty()) {
            apply(*rule, spelling, {});
            continue;
        }
        if (i + 1 < word.size())
            return apply(*rule, spelling, word.mid(i + 1));
        return readNextAsValue(*rule, spelling);
    }
}

void Parser::failUnknown(const QString& spelling, const std::optional<QString>& meant) {
    const QString shown = ArgumentValues::quoted(spelling);
    fail(meant ? u"There is no option %1; did you mean --%2?"_s.arg(shown, *meant)
               : u"There is no option %1; fetra --help lists them all."_s.arg(shown));
}

void Parser::readNextAsValue(const OptionRule& rule, const QString& spelling) {
    if (next_ >= words_.size())
        return fail(u"The option %1 needs %2."_s.arg(spelling, rule.value));
    if (isKnownOption(words_[next_]))
        return fail(u"The option %1 needs %2; %3 is an option itself."_s.arg(
            spelling, rule.value, ArgumentValues::quoted(words_[next_].section(u'=', 0, 0).left(20))));
    apply(rule, spelling, words_[next_++]);
}

void Parser::apply(const OptionRule& rule, const QString& spelling, const QString& value) {
    if (!rule.forProbe)
        downloadOnly_ = spelling;
    switch (rule.option) {
    case Option::help:
        return stop(ShowHelp{});
    case Option::version:
        return stop(ShowVersion{});
    case Option::noResume:
        get_.options.resume = false;
        return;
    case Option::json:
        json_ = true;
        return;
    case Option::quiet:
        quiet_ = true;
        return;
    default:
        return applyValue(rule.option, value);
    }
}

void Parser::applyValue(Option option, const QString& value) {
    switch (option) {
    case Option::output:
        if (const auto path = checked(ArgumentValues::output(value)))
            get_.output = *path;
        return;
    case Option::connections:
        if (const auto number = checked(ArgumentValues::connections(value)))
            get_.options.connections = *number;
        return;
    case Option::mirror:
        if (const auto mirror = checked(ArgumentValues::address(value, u"The mirror"_s)))
            get_.mirrors += *mirror;
        return;
    case Option::sha256:
        if (const auto digest = checked(ArgumentValues::digest(value)))
            get_.options.expectedSHA256 = *digest;
        return;
    case Option::header:
        if (const auto header = checked(ArgumentValues::header(value)))
            addHeader(*header);
        return;
    case Option::log:
        if (const auto level = checked(ArgumentValues::logLevel(value)))
            get_.logLevel = *level;
        return;
    default:
        return;
    }
}

void Parser::addHeader(const ArgumentValues::Header& header) {
    if (header.first.compare("user-agent"_L1, Qt::CaseInsensitive) == 0) {
        get_.options.userAgent = header.second;
        return;
    }
    QMap<QString, QString>& headers = get_.options.headers;
    headers.removeIf(
        [&](const auto& entry) { return entry.key().compare(header.first, Qt::CaseInsensitive) == 0; });
    headers.insert(header.first, header.second);
}

void Parser::readOperand(const QString& word) {
    if (!command_ && !address_ && !onlyOperands_) {
        static const QStringList names{u"get"_s, u"probe"_s, u"help"_s};
        if (const qsizetype at = names.indexOf(word); at >= 0) {
            command_ = Command(at);
            if (command_ == Command::help)
                stop(ShowHelp{});
            return;
        }
        // A bare word is a command, as no address is one.
        const bool isBare =
            std::all_of(word.begin(), word.end(), [](QChar c) { return c.isLetterOrNumber() || c == u'-'; });
        if (isBare && !word.isEmpty() && word != "localhost"_L1) {
            const QString shown = ArgumentValues::quoted(word);
            const auto guess = ArgumentValues::nearest(word, names);
            return fail(
                guess ? u"There is no command %1; did you mean fetra %2?"_s.arg(shown, *guess)
                      : u"%1 is neither a command nor an address; write fetra https://example.com/file.zip."_s
                            .arg(shown));
        }
    }
    if (address_)
        return fail(
            u"There are two addresses, %1 and %2; write one at a time, or -m before another address of the "
            u"same "
            "file."_s.arg(ArgumentValues::quotedAddress(*address_), ArgumentValues::quotedAddress(word)));
    address_ = word;
}

ParsedArguments Parser::result() {
    const bool isProbe = command_ == Command::probe;
    if (!address_)
        return UsageError{u"The address is missing; write fetra %1https://example.com/file.zip."_s.arg(
            isProbe ? u"probe "_s : QString())};
    if (const auto url = checked(ArgumentValues::address(*address_, u"The address"_s)))
        get_.url = *url;
    else
        return *outcome_;
    if (isProbe && !downloadOnly_.isEmpty())
        return UsageError{
            u"The option %1 has no meaning for fetra probe, which takes --header and --log; leave it out."_s
                .arg(downloadOnly_)};
    if (isProbe)
        return ProbeRequest{get_.url, get_.options, get_.logLevel};
    get_.style = json_ ? (quiet_ ? OutputStyle::quietJson : OutputStyle::json)
                       : (quiet_ ? OutputStyle::quiet : OutputStyle::plain);
    return get_;
}

} // namespace

ParsedArguments parseArguments(const QByteArrayList& arguments) {
    QStringList words;
    for (const QByteArray& argument : arguments) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString word = decoder(argument);
        if (decoder.hasError())
            return UsageError{
                u"Argument %1 is not valid UTF-8; write it in UTF-8, a folder by another name if need be."_s
                    .arg(words.size() + 1)};
        words += word;
    }
    return Parser(words).parse();
}

} // namespace fetra::cli
