#include "DiskImage.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <stdexcept>

#include <unistd.h>

namespace fetra::test {

namespace {

constexpr qint64 page = 4096;

QByteArray folderOf(const QByteArray& name) {
    return name.left(std::max<qsizetype>(name.lastIndexOf('/'), 0));
}

QByteArray damaged(QByteArray data, Fate fate) {
    const qint64 middle = data.size() / 2;
    if (fate == Fate::torn)
        data.truncate(middle);
    else if (fate == Fate::blank)
        data.fill('\0');
    else if (fate == Fate::holed)
        std::fill_n(data.begin() + middle / page * page, std::min(page, data.size() - middle / page * page),
                    '\0');
    return data;
}

} // namespace

QByteArray Operation::folder() const {
    return folderOf(kind == Kind::rename || kind == Kind::link ? newName : name);
}

QByteArray Operation::text() const {
    constexpr const char* names[] = {"create",      "mkdir",  "write", "length", "sync",
                                     "sync folder", "rename", "link",  "unlink", "mark"};
    return QByteArray(names[static_cast<size_t>(kind)]) + " #" + QByteArray::number(file) + ' ' + name + ' ' +
           newName + " at " + QByteArray::number(offset) + " +" + QByteArray::number(data.size());
}

void DiskImage::apply(const Operation& operation, Fate fate) {
    using Kind = Operation::Kind;
    if (fate == Fate::lost)
        return;
    switch (operation.kind) {
    case Kind::create:
        entries[operation.name] = operation.file;
        break;
    case Kind::makeFolder:
        folders.insert(operation.name);
        break;
    case Kind::write: {
        const QByteArray data = damaged(operation.data, fate);
        QByteArray& content = contents[operation.file];
        if (content.size() < operation.offset + data.size())
            content.resize(operation.offset + data.size(), '\0');
        content.replace(operation.offset, data.size(), data);
        break;
    }
    case Kind::setLength:
        contents[operation.file].resize(operation.offset, '\0');
        break;
    case Kind::rename:
        if (const auto old = entries.find(operation.name);
            old != entries.end() && old->second == operation.file)
            entries.erase(old);
        entries[operation.newName] = operation.file;
        break;
    case Kind::link:
        entries[operation.newName] = operation.file;
        break;
    case Kind::unlink:
        entries.erase(operation.name);
        break;
    case Kind::syncFile:
    case Kind::syncFolder:
    case Kind::mark:
        break;
    }
}

bool DiskImage::hasFolder(const QByteArray& name) const {
    return folders.contains(name) && (name.isEmpty() || hasFolder(folderOf(name)));
}

std::optional<QByteArray> DiskImage::read(const QByteArray& name) const {
    const auto entry = entries.find(name);
    if (entry == entries.end() || !hasFolder(folderOf(name)))
        return std::nullopt;
    const auto content = contents.find(entry->second);
    return content == contents.end() ? QByteArray() : content->second;
}

void DiskImage::writeTo(const QString& folder) const {
    const auto pathOf = [&](const QByteArray& name) { return QFile::encodeName(folder) + '/' + name; };
    std::map<int, QByteArray> written;
    for (const QByteArray& name : folders) {
        if (hasFolder(name))
            QDir().mkpath(QFile::decodeName(pathOf(name)));
    }
    for (const auto& [name, file] : entries) {
        const std::optional<QByteArray> content = read(name);
        if (!content)
            continue;
        const QByteArray path = pathOf(name);
        if (const auto other = written.find(file); other != written.end()) {
            if (::link(other->second.constData(), path.constData()) != 0)
                throw std::runtime_error("cannot link a crash state");
            continue;
        }
        QFile out(QFile::decodeName(path));
        if (!out.open(QIODevice::WriteOnly) || out.write(*content) != content->size())
            throw std::runtime_error("cannot write a crash state");
        written.emplace(file, path);
    }
}

QByteArray DiskImage::digest() const {
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const auto& [name, file] : entries) {
        hash.addData(name + '\0');
        hash.addData(read(name).value_or("missing folder"));
    }
    return hash.result();
}

} // namespace fetra::test
