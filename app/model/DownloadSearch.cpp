#include "app/model/DownloadSearch.h"

#include "system/AbsoluteURL.h"

#include <QLocale>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Between texts that are searched at once: nobody can type it.
constexpr QChar border(u'\uffff');

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
    const QStringMatcher matcher(folded(wanted));
    QList<DownloadManager::Item> found;
    for (const DownloadManager::Item& item : items)
        if (matcher.indexIn(textsOf(*item)) >= 0)
            found.append(item);
    return found;
}

void DownloadSearch::trim(const QList<DownloadManager::Item>& items) {
    if (entries_.size() <= items.size())
        return;
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
        const QString address = absoluteString(item.url());
        const QString host = item.url().host();
        entry.texts = folded(item.filename()) + border + folded(address);
        if (!address.contains(host))
            entry.texts += border + folded(host);
    }
    return entry.texts;
}

} // namespace fetra
