#include "app/model/DownloadSearch.h"

#include "system/AbsoluteURL.h"

#include <QLocale>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Between texts that are searched at once: what one line is searched for does not hold it.
constexpr QChar border = u'\n';
/// Well below a tick's time, whatever the names are.
constexpr qsizetype preparedAtOnce = 500;

bool isMark(QChar character) {
    return character.category() == QChar::Mark_NonSpacing;
}

bool isPlain(const QString& text) {
    return std::ranges::all_of(text, [](QChar each) { return each.unicode() < 0x80; });
}

/// Turkic languages have two letters i.
bool hasTwoLettersI(const QLocale& locale) {
    return locale.language() == QLocale::Turkish || locale.language() == QLocale::Azerbaijani;
}

} // namespace

QString DownloadSearch::folded(const QString& text) {
    const QLocale locale;
    if (isPlain(text) && !hasTwoLettersI(locale))
        return text.toLower();
    // By way of upper case, which spells out what lower case has as one letter.
    QString folded = locale.toLower(locale.toUpper(text)).toCaseFolded();
    if (isPlain(folded))
        return folded;
    folded = folded.normalized(QString::NormalizationForm_KD);
    folded.removeIf(isMark);
    return folded;
}

QList<DownloadManager::Item> DownloadSearch::matching(const QList<DownloadManager::Item>& items,
                                                      const QString& query) {
    const QString wanted = query.trimmed();
    if (wanted.isEmpty())
        return items;
    entries_.reserve(items.size());
    const QStringMatcher matcher(folded(wanted));
    QList<DownloadManager::Item> found;
    for (const DownloadManager::Item& item : items)
        if (matcher.indexIn(textsOf(*item)) >= 0)
            found.append(item);
    return found;
}

void DownloadSearch::prepare(const QList<DownloadManager::Item>& items) {
    if (entries_.size() > items.size())
        forgetAllBut(items);
    if (next_ >= items.size())
        next_ = 0;
    const qsizetype end = std::min(next_ + preparedAtOnce, items.size());
    for (; next_ < end; ++next_)
        (void)textsOf(*items[next_]);
}

void DownloadSearch::forgetAllBut(const QList<DownloadManager::Item>& items) {
    QHash<QUuid, Entry> kept;
    for (const DownloadManager::Item& item : items)
        if (const auto entry = entries_.constFind(item->id()); entry != entries_.cend())
            kept.insert(item->id(), *entry);
    entries_ = kept;
}

const QString& DownloadSearch::textsOf(const DownloadItem& item) {
    Entry& entry = entries_[item.id()];
    if (entry.texts.isEmpty() || entry.filename != item.filename()) {
        entry.filename = item.filename();
        QString texts = item.filename() + border + absoluteString(item.url());
        // Any other host stands in the address as it is.
        if (texts.contains("xn--"_L1))
            texts += border + item.url().host();
        entry.texts = folded(texts);
    }
    return entry.texts;
}

} // namespace fetra
