#include "helpers/torrent/ContentFiles.h"

#include "helpers/torrent/Failure.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <fcntl.h>

namespace fetra::torrent::ContentFiles {

using namespace Qt::StringLiterals;

namespace {

QString nameOf(const ContentFile& file) {
    return QFile::decodeName(QByteArray::fromStdString(file.path));
}

Failure foreign(const ContentFile& file) {
    return {u"\"%1\" exists and is not part of this torrent."_s.arg(nameOf(file))};
}

void requireOurs(const ContentFile& file, const FileMark& found, bool isRecorded, bool isContent) {
    const bool isEmptyAsItShould = file.size == 0 && found.size == 0;
    if (!isRecorded && !isContent && !isEmptyAsItShould)
        throw foreign(file);
    if (found.size > file.size)
        throw Failure{u"\"%1\" is longer than in this torrent."_s.arg(nameOf(file))};
}

FileMark create(const ContentFile& file) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(file.path).parent_path(), error);
    const PosixFile::Descriptor created =
        PosixFile::open(nameOf(file), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
    if (!created.isOpen() && errno == EEXIST)
        throw foreign(file);
    const auto mark = created.isOpen() ? FileMark::of(created.number()) : std::nullopt;
    if (!mark)
        throw Failure{u"\"%1\" cannot be written: %2."_s.arg(nameOf(file), PosixError::last().description())};
    return *mark;
}

} // namespace

std::vector<ContentFile> of(const lt::torrent_info& info, const std::string& folder) {
    const lt::file_storage& files = info.files();
    std::vector<ContentFile> all;
    for (const lt::file_index_t file : files.file_range())
        if (!files.pad_file_at(file))
            all.push_back({files.file_path(file, folder), files.file_size(file), file});
    return all;
}

Marks claim(const std::vector<ContentFile>& files, const std::vector<std::int64_t>& verified,
            const Marks& recorded) {
    const bool isAnyVerified = std::ranges::any_of(verified, [](std::int64_t bytes) { return bytes > 0; });
    Marks marks(files.size());
    std::vector<size_t> missing;
    for (size_t i = 0; i < files.size(); ++i) {
        const auto found = FileMark::at(files[i].path);
        const bool isRecorded = found && i < recorded.size() && found->isOfSameFile(recorded[i]);
        const auto index = static_cast<size_t>(static_cast<int>(files[i].index));
        // An empty one beside the content is left from a claim whose record is lost.
        const bool isContent = found && (verified.at(index) > 0 || (found->size == 0 && isAnyVerified));
        if (found)
            requireOurs(files[i], *found, isRecorded, isContent);
        else
            missing.push_back(i);
        marks[i] = found.value_or(FileMark{});
    }
    for (auto next = missing.begin(); next != missing.end(); ++next)
        try {
            marks[*next] = create(files[*next]);
        } catch (const Failure&) {
            std::for_each(missing.begin(), next, [&](size_t i) { PosixFile::unlink(nameOf(files[i])); });
            throw;
        }
    return marks;
}

bool areThose(const Marks& claimed, const Marks& now) {
    return std::ranges::equal(claimed, now, &FileMark::isOfSameFile);
}

void requireWhole(const std::vector<ContentFile>& files, const Marks& claimed, const Marks& now) {
    for (size_t i = 0; i < files.size(); ++i)
        if (now.at(i).size != files[i].size || !now[i].isOfSameFile(claimed.at(i)))
            throw Failure{u"\"%1\" was changed by another program."_s.arg(nameOf(files[i]))};
}

} // namespace fetra::torrent::ContentFiles
