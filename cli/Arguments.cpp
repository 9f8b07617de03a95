#include "Arguments.h"

#include "cli/ArgumentValues.h"
#include "cli/OptionRules.h"

#include "system/AbsoluteURL.h"

#include <QSet>
#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

/// Reads the words one after the other into what they ask for.
class Parser {
public:
    explicit Parser(const QStringList& words)
        : words_(words) {}

    ParsedArguments parse();

private:
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
    /// Whether `word` was one; an unlikely one ends in a failure.
    bool readCommand(const QString& word);
    void failMissing();
    void readLinks();
    ParsedArguments result();
    ParsedArguments probeResult();

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

    std::optional<CommandName> command_;
    QStringList operands_;
    GetRequest get_;
    QString name_;
    bool json_ = false;
    bool quiet_ = false;
    /// The options given, as they were spelt.
    QList<std::pair<const OptionRule*, QString>> given_;
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
    const OptionRule* rule = OptionRules::findLong(QStringView(spelling).mid(2));
    if (!rule) {
        QStringList names;
        for (const OptionRule& known : OptionRules::all())
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
    if (unhyphened.size() > 1 && OptionRules::findLong(unhyphened))
        return failUnknown(u'-' + unhyphened, unhyphened);
    for (qsizetype i = 1; i < word.size() && !outcome_; ++i) {
        const QString spelling = u"-"_s + word[i];
        const OptionRule* rule = OptionRules::findShort(word[i]);
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
    if (OptionRules::isKnownOption(words_[next_]))
        return fail(u"The option %1 needs %2; %3 is an option itself."_s.arg(
            spelling, rule.value, ArgumentValues::quoted(words_[next_].section(u'=', 0, 0).left(20))));
    apply(rule, spelling, words_[next_++]);
}

void Parser::apply(const OptionRule& rule, const QString& spelling, const QString& value) {
    given_.emplaceBack(&rule, spelling);
    switch (rule.option) {
    case Option::help:
        return stop(ShowHelp{});
    case Option::version:
        return stop(ShowVersion{});
    case Option::noResume:
        get_.options.resume = false;
        return;
    case Option::seed:
        get_.seed = true;
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
        get_.hasConnections = true;
        return;
    case Option::input:
        if (const auto path = checked(ArgumentValues::path(value, "input"_L1)))
            get_.inputs += *path;
        return;
    case Option::maxDownloads:
        get_.maxDownloads = checked(ArgumentValues::maxDownloads(value));
        return;
    case Option::state:
        get_.state = checked(ArgumentValues::path(value, "state"_L1));
        return;
    case Option::uploadLimit:
        get_.uploadLimitKB = checked(ArgumentValues::uploadLimit(value));
        return;
    case Option::name:
        if (const auto name = checked(ArgumentValues::name(value)))
            name_ = *name;
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
    if (command_ || !operands_.isEmpty() || onlyOperands_ || !readCommand(word))
        operands_ += word;
}

bool Parser::readCommand(const QString& word) {
    if (word == "help"_L1) {
        stop(ShowHelp{});
        return true;
    }
    QStringList names{u"help"_s};
    for (const CommandName& each : OptionRules::commands()) {
        names += each.name;
        if (word == each.name) {
            command_ = each;
            return true;
        }
    }
    // A bare word is a command, as no address is one.
    const bool isBare =
        std::all_of(word.begin(), word.end(), [](QChar c) { return c.isLetterOrNumber() || c == u'-'; });
    if (!isBare || word.isEmpty() || word == "localhost"_L1)
        return false;
    const QString shown = ArgumentValues::quoted(word);
    const auto guess = ArgumentValues::nearest(word, names);
    fail(guess ? u"There is no command %1; did you mean fetra %2?"_s.arg(shown, *guess)
               : u"%1 is neither a command nor an address; write fetra https://example.com/file.zip."_s.arg(
                     shown));
    return true;
}

void Parser::failMissing() {
    fail(u"The address is missing; write fetra %1https://example.com/file.zip."_s.arg(
        command_->command == Command::get ? QString() : command_->name + u" "_s));
}

void Parser::readLinks() {
    QSet<QString> seen;
    for (const QString& word : operands_) {
        const auto url = checked(ArgumentValues::link(word));
        if (!url)
            return;
        if (!seen.contains(absoluteString(*url)))
            get_.urls += *url;
        seen += absoluteString(*url);
    }
}

ParsedArguments Parser::result() {
    if (!command_)
        command_ = OptionRules::commands().front();
    for (const auto& [rule, spelling] : given_)
        if (!(rule->commands & command_->command))
            return UsageError{
                u"The option %1 has no meaning for fetra %2, which takes %3; leave it out."_s.arg(
                    spelling, command_->name, command_->options)};
    if (command_->command == Command::list && !operands_.isEmpty())
        return UsageError{u"fetra list takes no address; write fetra list, or fetra list --state FILE."_s};
    if (command_->command == Command::list)
        return ListRequest{get_.state, json_, get_.logLevel};
    if (operands_.isEmpty() && get_.inputs.isEmpty() && !get_.state)
        failMissing();
    else if (command_->command == Command::probe)
        return probeResult();
    else
        readLinks();
    if (outcome_)
        return *outcome_;
    if (command_->command == Command::add && !name_.isEmpty() && get_.urls.size() > 1)
        return UsageError{
            u"--name goes with one address, and there are %1; leave it out."_s.arg(get_.urls.size())};
    if (command_->command == Command::add)
        return AddRequest{get_.urls, get_.output, name_, get_.logLevel};
    get_.style = json_ ? (quiet_ ? OutputStyle::quietJson : OutputStyle::json)
                       : (quiet_ ? OutputStyle::quiet : OutputStyle::plain);
    return get_;
}

ParsedArguments Parser::probeResult() {
    if (operands_.size() > 1)
        return UsageError{u"There are two addresses, %1 and %2; fetra probe takes one at a time."_s.arg(
            ArgumentValues::quotedAddress(operands_[0]), ArgumentValues::quotedAddress(operands_[1]))};
    const auto url = checked(ArgumentValues::address(operands_.first(), u"The address"_s));
    if (!url)
        return *outcome_;
    return ProbeRequest{*url, get_.options, get_.logLevel};
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
