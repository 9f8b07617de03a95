#include "app/model/LinkDrop.h"

#include "system/AbsoluteURL.h"
#include "torrent/TorrentDownloader.h"

#include <QCoreApplication>
#include <QMimeData>
#include <QSet>
#include <QStringDecoder>

#include <algorithm>
#include <variant>

namespace fetra::LinkDrop {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("LinkDrop", text);
}

bool isUsable(const Item& item) {
    return std::ranges::any_of(types, [&](Type type) { return item.contains(type); });
}

Type preferredType(const Item& item) {
    const auto* found = std::ranges::find_if(types, [&](Type type) { return item.contains(type); });
    return found == std::end(types) ? Type::plainText : *found;
}

/// What the item says, or why that cannot be read.
std::variant<QString, AppError> textOf(const QVariant& value, qsizetype longest) {
    QString text;
    bool isReadable = true;
    switch (value.typeId()) {
    case QMetaType::QUrl:
        text = absoluteString(value.toUrl());
        break;
    case QMetaType::QString:
        text = value.toString();
        break;
    case QMetaType::QByteArray: {
        QStringDecoder decoder(QStringDecoder::Utf8);
        text = decoder(value.toByteArray());
        isReadable = !decoder.hasError();
        break;
    }
    default:
        isReadable = false;
    }
    if (isReadable && text.size() <= longest)
        return text;
    return AppError{AppError::Code::droppedContentUnreadable,
                    translated(QT_TRANSLATE_NOOP(
                        "LinkDrop", "The dropped content could not be read as a link or text."))};
}

void deliver(const QList<Item>& items, const Actions& actions) {
    QList<QUrl> files;
    QSet<QUrl> known;
    QStringList texts;
    qsizetype room = maxTextLength;
    for (const Item& item : items) {
        const Type type = preferredType(item);
        const std::variant<QString, AppError> read = textOf(item.value(type), room);
        if (const AppError* error = std::get_if<AppError>(&read)) {
            actions.onError(error->description);
            continue;
        }
        const QString& text = std::get<QString>(read);
        const QUrl url(text.trimmed());
        if (url.isLocalFile()) {
            if (!TorrentDownloader::isTorrentSource(url))
                actions.onError(translated(
                    QT_TRANSLATE_NOOP("LinkDrop", "Only .torrent files can be opened as local downloads.")));
            else if (!known.contains(url)) {
                known.insert(url);
                files.append(url);
            }
        } else if (type == Type::fileURL) {
            actions.onError(
                translated(QT_TRANSLATE_NOOP("LinkDrop", "The dropped file URL could not be read.")));
        } else {
            room -= text.size();
            texts.append(text);
        }
    }
    if (!files.isEmpty())
        actions.receiveFiles(files);
    if (!texts.isEmpty())
        actions.receive(texts.join(u'\n'));
}

} // namespace

QList<Item> itemsIn(const QMimeData& data) {
    QList<Item> items;
    for (const QUrl& url : data.urls())
        items.append(Item{{url.isLocalFile() ? Type::fileURL : Type::url, url}});
    if (items.isEmpty() && data.hasText())
        items.append(Item{{Type::plainText, data.text()}});
    return items;
}

bool accept(const QList<Item>& items, Actions actions) {
    QList<Item> usable = items;
    usable.removeIf([](const Item& item) { return !isUsable(item); });
    if (usable.isEmpty())
        return false;
    // Not while the source of the drag waits for an answer.
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [usable, actions = std::move(actions)] { deliver(usable, actions); },
        Qt::QueuedConnection);
    return true;
}

} // namespace fetra::LinkDrop
