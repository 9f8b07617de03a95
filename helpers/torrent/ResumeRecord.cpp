#include "helpers/torrent/ResumeRecord.h"

#include "helpers/torrent/Failure.h"
#include "system/AtomicFile.h"
#include "system/Log.h"
#include "system/PosixError.h"
#include "system/StandardFolders.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <libtorrent/bdecode.hpp>
#include <libtorrent/bencode.hpp>
#include <libtorrent/read_resume_data.hpp>
#include <libtorrent/write_resume_data.hpp>

#include <algorithm>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace fetra::torrent {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

constexpr qint64 maxRecordBytes = 256 * 1'048'576;
/// Present and 1 when the content can be believed.
constexpr const char* trustKey = "fetra-content-synced";
/// The marks of the content's files, four numbers each.
constexpr const char* marksKey = "fetra-files";

QString recordFolder() {
    const auto data = StandardFolders::applicationSupport();
    if (!data)
        throw Failure{u"There is no folder for the data of applications."_s};
    const QString folder = *data + u"/Fetra/torrents"_s;
    std::error_code error;
    fs::create_directories(QFile::encodeName(folder).toStdString(), error);
    if (error)
        throw Failure{
            u"The folder \"%1\" cannot be made: %2."_s.arg(folder, PosixError(error.value()).description())};
    return folder;
}

/// The same folder by whatever path.
QByteArray folderKey(const std::string& folder) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(folder, error);
    const std::string name = error ? folder : canonical.string();
    return QCryptographicHash::hash(QByteArrayView(name.data(), qsizetype(name.size())),
                                    QCryptographicHash::Sha256)
        .toHex()
        .first(16);
}

template <typename T>
void unite(std::vector<T>& all, const std::vector<T>& more) {
    for (const T& one : more)
        if (std::ranges::find(all, one) == all.end())
            all.push_back(one);
}

lt::add_torrent_params withoutContent(lt::add_torrent_params params) {
    params.have_pieces.clear();
    params.verified_pieces.clear();
    params.unfinished_pieces.clear();
    return params;
}

/// A magnet link may know one hash of a torrent that has both.
bool isSameTorrent(const lt::info_hash_t& one, const lt::info_hash_t& other) {
    return (one.has_v1() && other.has_v1() && one.v1 == other.v1) ||
           (one.has_v2() && other.has_v2() && one.v2 == other.v2);
}

lt::entry entryOf(const ContentFiles::Marks& marks) {
    lt::entry::list_type numbers;
    for (const FileMark& mark : marks)
        for (const qint64 number : {mark.inode, mark.born, mark.size, mark.modified})
            numbers.emplace_back(number);
    return numbers;
}

ContentFiles::Marks marksIn(const lt::bdecode_node& record) {
    const lt::bdecode_node numbers = record.dict_find_list(marksKey);
    ContentFiles::Marks marks;
    for (int i = 0; numbers && i + 3 < numbers.list_size(); i += 4)
        marks.push_back({.inode = numbers.list_int_value_at(i),
                         .born = numbers.list_int_value_at(i + 1),
                         .size = numbers.list_int_value_at(i + 2),
                         .modified = numbers.list_int_value_at(i + 3)});
    return marks;
}

bool areUnchanged(const std::vector<ContentFile>& files, const ContentFiles::Marks& marks) {
    return std::ranges::equal(files, marks, [](const ContentFile& file, const FileMark& mark) {
        return FileMark::at(file.path) == mark;
    });
}

} // namespace

ResumeRecord::ResumeRecord(const lt::info_hash_t& torrent, const std::string& folder)
    : folder_(folder) {
    const std::string hash = (torrent.has_v1() ? torrent.v1 : torrent.get_best()).to_string();
    const QByteArray name = QByteArray::fromStdString(hash).toHex() + '-' + folderKey(folder);
    path_ = recordFolder() + u'/' + QString::fromLatin1(name) + u".resume"_s;
}

bool ResumeRecord::claim() {
    claim_ = PosixFile::open(path_ + u".lock"_s, O_RDWR | O_CREAT, 0600);
    if (!claim_.isOpen())
        throw Failure{
            u"\"%1\" cannot be written: %2."_s.arg(path_ + u".lock"_s, PosixError::last().description())};
    struct stat status {};
    // The one who held the claim before may have removed the file between our two calls.
    return ::flock(claim_.number(), LOCK_EX | LOCK_NB) == 0 && ::fstat(claim_.number(), &status) == 0 &&
           status.st_nlink > 0;
}

ContentFiles::Marks ResumeRecord::load(lt::add_torrent_params& params) const {
    const std::optional<QByteArray> bytes = AtomicFile::read(path_, maxRecordBytes);
    if (!bytes)
        return {};
    lt::error_code error;
    const lt::span<const char> buffer(bytes->constData(), bytes->size());
    const lt::bdecode_node node = lt::bdecode(buffer, error);
    if (error || node.type() != lt::bdecode_node::dict_t)
        return {};
    lt::add_torrent_params record = lt::read_resume_data(node, error);
    if (error || !isSameTorrent(record.info_hashes, params.info_hashes))
        return {};
    if (!record.ti)
        record.ti = params.ti;
    ContentFiles::Marks marks = marksIn(node);
    if (node.dict_find_int_value(trustKey) != 1 || !record.ti ||
        !areUnchanged(ContentFiles::of(*record.ti, folder_), marks))
        record = withoutContent(std::move(record));
    unite(record.trackers, params.trackers);
    record.tracker_tiers.clear();
    unite(record.url_seeds, params.url_seeds);
    unite(record.peers, params.peers);
    params = std::move(record);
    return marks;
}

void ResumeRecord::save(const lt::add_torrent_params& params, const ContentFiles::Marks& marks,
                        Trust trust) const {
    lt::entry record = lt::write_resume_data(trust == Trust::content ? params : withoutContent(params));
    record[trustKey] = trust == Trust::content ? 1 : 0;
    record[marksKey] = entryOf(marks);
    std::vector<char> bytes;
    lt::bencode(std::back_inserter(bytes), record);
    try {
        AtomicFile::write(path_, QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
    } catch (const PosixError& error) {
        Log::warn([&] { return u"the resume data cannot be written: "_s + error.description(); });
    }
}

void ResumeRecord::remove() const {
    PosixFile::unlink(path_);
    PosixFile::unlink(path_ + u".lock"_s);
}

} // namespace fetra::torrent
