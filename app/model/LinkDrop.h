#pragma once

#include "app/model/AppError.h"

#include <QList>
#include <QMap>
#include <QUrl>
#include <QVariant>

#include <functional>

class QMimeData;

namespace fetra {

/// Turns what is dropped on a window into links and torrent files. Whatever a drop holds is a stranger's.
/// Stateless; main thread only.
namespace LinkDrop {

/// In order of preference.
enum class Type { fileURL, url, plainText };
inline constexpr Type types[] = {Type::fileURL, Type::url, Type::plainText};

/// Of all the text of one drop; what goes beyond is not read.
inline constexpr qsizetype maxTextLength = 1'048'576;

/// One thing dropped, in each form in which its source offers it: an address, text, or bytes of UTF-8.
/// Anything else is unreadable.
using Item = QMap<Type, QVariant>;

struct Actions {
    std::function<void(const QString& text)> receive;
    std::function<void(const QList<QUrl>& files)> receiveFiles;
    std::function<void(const QString& message)> onError;
};

/// The things that the drag of a desktop carries.
[[nodiscard]] QList<Item> itemsIn(const QMimeData& data);

/// False, and nothing else, when no item offers one of the types. Otherwise the actions are called later, in
/// the order of the items: errors first, then once the torrent files, then once the text.
bool accept(const QList<Item>& items, Actions actions);

} // namespace LinkDrop
} // namespace fetra
