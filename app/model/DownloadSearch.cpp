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

} // namespace

QString DownloadSearch::folded(const QString& text) {
    // In the language's own letters first: Turkish has two letters i. By way of upper case, which spells out
    // what lower case has as one letter.
    const QLocale locale;
    QString plain = locale.toLower(locale.toUpper(text)).toCaseFolded();
    if (std::ranges::all_of(plain, [](QChar each) { return each.unicode() < 0x80; }))
        return plain;
    plain = plain.normalized(QString::NormalizationForm_KD);
    plain.removeIf(isMark);
    return plain;
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
        entry.texts =
            folded(item.filename() + border + absoluteString(item.url()) + border + item.url().host());
    }
    return entry.texts;
}

} // namespace fetra
