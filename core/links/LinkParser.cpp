#include "links/LinkParser.h"

#include "links/LinkDetector.h"
#include "system/AbsoluteURL.h"

namespace fetra::LinkParser {

using namespace Qt::StringLiterals;

namespace {

/// Links in the order they came, each once.
class Collection {
public:
    void addMagnet(const QString& address) {
        if (!isRepeated(address))
            add(address, QUrl(address));
    }
    void addOrdinary(const QString& address) {
        if (isRepeated(address))
            return;
        const QUrl url(address);
        if (schemes().contains(url.scheme().toLower()) && !url.host().isEmpty())
            add(address, url);
    }
    [[nodiscard]] const QList<QUrl>& links() const { return links_; }

private:
    bool isRepeated(const QString& address) {
        const qsizetype before = seen_.size();
        seen_.insert(address);
        return seen_.size() == before;
    }
    void add(const QString& address, const QUrl& url) {
        if (!url.isValid())
            return;
        const QString absolute = absoluteString(url);
        if (absolute == address || !isRepeated(absolute))
            links_.append(url);
    }

    /// Absolute strings, and addresses as they stand in the text: what comes again need not be parsed.
    QSet<QString> seen_;
    QList<QUrl> links_;
};

} // namespace

const QSet<QString>& schemes() {
    static const QSet<QString> set{u"http"_s, u"https"_s};
    return set;
}

const std::optional<QRegularExpression>& magnetPattern() {
    static const std::optional<QRegularExpression> pattern = [] {
        const QRegularExpression expression(uR"(magnet:\?[^\s"'<>]+)"_s,
                                            QRegularExpression::CaseInsensitiveOption |
                                                QRegularExpression::UseUnicodePropertiesOption);
        return expression.isValid() ? std::optional(expression) : std::nullopt;
    }();
    return pattern;
}

QList<QUrl> extract(const QString& text) {
    // A half of a surrogate pair would make the expression refuse the whole text.
    const QString whole = text.isValidUtf16() ? text : QString::fromUtf8(text.toUtf8());
    Collection found;
    if (magnetPattern()) {
        QRegularExpressionMatchIterator matches = magnetPattern()->globalMatch(whole);
        while (matches.hasNext())
            found.addMagnet(matches.next().captured());
    }
    for (const QString& address : LinkDetector::addresses(whole))
        found.addOrdinary(address);
    return found.links();
}

} // namespace fetra::LinkParser
