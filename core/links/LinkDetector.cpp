#include "links/LinkDetector.h"

#include "links/AddressTail.h"
#include "links/HostText.h"

#include <QString>

namespace fetra::LinkDetector {

using namespace Qt::StringLiterals;
using HostText::characterAt;
using HostText::Neighbours;

namespace {

/// Goes over the text once. Every step either moves `position_` past all that it looked at, or looks no
/// further than a constant distance.
class Scanner {
public:
    explicit Scanner(QStringView text)
        : text_(text) {}

    QStringList run() {
        while (position_ < text_.size()) {
            const char32_t character = characterAt(text_, position_);
            if (HostText::isNameCharacter(character))
                takeName();
            else
                position_ += HostText::width(character);
        }
        return found_;
    }

private:
    static constexpr qsizetype longestLiteral = 64;
    static constexpr qsizetype longestPort = 5;

    [[nodiscard]] bool startsWith(qsizetype index, QLatin1StringView token) const {
        return text_.sliced(index).startsWith(token, Qt::CaseInsensitive);
    }
    [[nodiscard]] char16_t unitAt(qsizetype index) const {
        return index >= 0 && index < text_.size() ? text_[index].unicode() : u'\0';
    }

    void takeName() {
        const qsizetype begin = position_;
        position_ = HostText::nameEnd(text_, begin, Neighbours::prose);
        if (startsWith(position_, "://"_L1))
            takeScheme(begin);
        else if (isOpaqueScheme(begin))
            position_ = AddressTail::end(text_, position_, u'\0');
        else if (isBareHost(begin))
            takeRest(begin, unitAt(begin - 1), "http://"_L1);
    }

    /// Addresses in which nothing else is to be found.
    [[nodiscard]] bool isOpaqueScheme(qsizetype begin) const {
        const QStringView name = text_.sliced(begin, position_ - begin);
        return (name.compare("magnet"_L1, Qt::CaseInsensitive) == 0 && startsWith(position_, ":?"_L1)) ||
               (name.compare("mailto"_L1, Qt::CaseInsensitive) == 0 && unitAt(position_) == u':');
    }

    // With a scheme

    /// At "://" behind the name that began at `nameBegin`. What comes before the scheme may touch it:
    /// "here.http://".
    void takeScheme(qsizetype nameBegin) {
        const QStringView name = text_.sliced(nameBegin, position_ - nameBegin);
        qsizetype length = 0;
        for (const QLatin1StringView scheme : {"http"_L1, "https"_L1})
            if (name.endsWith(scheme, Qt::CaseInsensitive))
                length = scheme.size();
        const qsizetype begin = position_ - length;
        const char16_t before = unitAt(begin - 1);
        position_ += 3;
        if (length == 0 || before == u'+' || HostText::isAsciiLetterOrDigit(before))
            position_ = AddressTail::end(text_, position_, u'\0');
        else if (!startsWith(position_, "http://"_L1) && !startsWith(position_, "https://"_L1))
            takeAuthority(begin, before);
    }

    void takeAuthority(qsizetype begin, char16_t before) {
        const qsizetype host = userInfoEnd();
        const qsizetype end = hostEnd(host);
        if (end == host)
            return;
        position_ = end;
        if (end - host <= HostText::maxLength)
            takeRest(begin, before, ""_L1);
    }

    /// Where the host begins: behind the last "@" of the authority, or here.
    [[nodiscard]] qsizetype userInfoEnd() const {
        qsizetype host = position_;
        for (qsizetype index = position_; index < text_.size(); ++index) {
            const char16_t unit = text_[index].unicode();
            if (unit == u'@')
                host = index + 1;
            else if (!HostText::isAsciiLetterOrDigit(unit) && !u"-._~%:!$&*+=;"_s.contains(unit))
                break;
        }
        return host;
    }

    /// Behind the host at `begin`, or `begin` where there is none.
    [[nodiscard]] qsizetype hostEnd(qsizetype begin) const {
        if (unitAt(begin) == u'[')
            return literalEnd(begin);
        if (begin == text_.size() || !HostText::isNameCharacter(characterAt(text_, begin)))
            return begin;
        const qsizetype end = HostText::nameEnd(text_, begin, Neighbours::address);
        // A dot before a path is the root of all names, any other ends the sentence.
        return unitAt(end) == u'.' && unitAt(end + 1) == u'/' ? end + 1 : end;
    }

    /// Behind the "]" of an IPv6 address, or `begin` where there is none.
    [[nodiscard]] qsizetype literalEnd(qsizetype begin) const {
        for (qsizetype index = begin + 1; index < begin + longestLiteral; ++index) {
            const char16_t unit = unitAt(index);
            if (unit == u']')
                return index + 1;
            if (!HostText::isAsciiLetterOrDigit(unit) && unit != u':' && unit != u'.' && unit != u'%')
                break;
        }
        return begin;
    }

    // Without

    [[nodiscard]] bool isBareHost(qsizetype begin) {
        const char16_t before = unitAt(begin - 1);
        const bool partOfMore = before != u'\0' && u"@/\\.%#$_"_s.contains(before);
        return !partOfMore && HostText::isWebHost(text_.sliced(begin, position_ - begin)) && !isMailName();
    }

    /// Whether the name that ends here goes on to an "@". The next name asks again about the same characters.
    [[nodiscard]] bool isMailName() {
        mailNameEnd_ = qMax(mailNameEnd_, position_);
        while (isMailCharacter(unitAt(mailNameEnd_)))
            ++mailNameEnd_;
        return unitAt(mailNameEnd_) == u'@';
    }
    [[nodiscard]] static bool isMailCharacter(char16_t unit) {
        return HostText::isAsciiLetterOrDigit(unit) || (unit != u'\0' && u"._+-%&'"_s.contains(unit));
    }

    // Both

    /// Behind the host: takes the port and all that follows it. `scheme` is what the text leaves out.
    void takeRest(qsizetype begin, char16_t before, QLatin1StringView scheme) {
        const QStringView host = text_.sliced(begin, position_ - begin);
        skipPort();
        const qsizetype tailBegin = position_;
        const char16_t next = unitAt(position_);
        if (next == u'/' || next == u'?' || next == u'#')
            position_ = AddressTail::end(text_, position_, before);
        const QStringView tail = AddressTail::trimmed(text_.sliced(tailBegin, position_ - tailBegin), before);
        // "notes.md#end" and "main.py:12" are places in files, "docs.rs/x" is one on the web.
        const bool hasPath = !tail.isEmpty() && next != u'#';
        if (scheme.isEmpty() || hasPath || !HostText::looksLikeProse(host))
            append(scheme, text_.sliced(begin, tailBegin + tail.size() - begin));
    }

    void append(QLatin1StringView scheme, QStringView rest) {
        QString address;
        address.reserve(scheme.size() + rest.size());
        address.append(scheme).append(rest);
        if (address.contains(u'&'))
            address.replace("&amp;"_L1, "&"_L1);
        found_.append(address);
    }

    void skipPort() {
        if (unitAt(position_) != u':')
            return;
        qsizetype end = position_ + 1;
        while (unitAt(end) >= u'0' && unitAt(end) <= u'9' && end - position_ <= longestPort)
            ++end;
        const uint port = text_.sliced(position_ + 1, end - position_ - 1).toUInt();
        if (port > 0 && port <= 65'535)
            position_ = end;
    }

    const QStringView text_;
    qsizetype position_ = 0;
    qsizetype mailNameEnd_ = 0;
    QStringList found_;
};

} // namespace

QStringList addresses(QStringView text) {
    return Scanner(text).run();
}

} // namespace fetra::LinkDetector
