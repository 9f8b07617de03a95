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

} // namespace

ResumeRecord::ResumeRecord(const lt::info_hash_t& torrent, const std::string& folder) {
    const std::string hash = torrent.get_best().to_string();
    const QByteArray name = QByteArray::fromStdString(hash).toHex() + '-' + folderKey(folder);
    path_ = recordFolder() + u'/' + QString::fromLatin1(name) + u".resume"_s;
}

bool ResumeRecord::claim() {
    claim_ = PosixFile::open(path_ + u".lock"_s, O_RDWR | O_CREAT, 0600);
    struct stat status {};
    // The one who held the claim before may have removed the file between our two calls.
    return claim_.isOpen() && ::flock(claim_.number(), LOCK_EX | LOCK_NB) == 0 &&
           ::fstat(claim_.number(), &status) == 0 && status.st_nlink > 0;
}

bool ResumeRecord::load(lt::add_torrent_params& params) const {
    const std::optional<QByteArray> bytes = AtomicFile::read(path_, maxRecordBytes);
    if (!bytes)
        return false;
    lt::error_code error;
    const lt::span<const char> buffer(bytes->constData(), bytes->size());
    const lt::bdecode_node node = lt::bdecode(buffer, error);
    if (error || node.type() != lt::bdecode_node::dict_t)
        return false;
    lt::add_torrent_params record = lt::read_resume_data(node, error);
    if (error || record.info_hashes.get_best() != params.info_hashes.get_best())
        return false;
    if (node.dict_find_int_value(trustKey) != 1)
        record = withoutContent(std::move(record));
    if (!record.ti)
        record.ti = params.ti;
    unite(record.trackers, params.trackers);
    record.tracker_tiers.clear();
    unite(record.url_seeds, params.url_seeds);
    unite(record.peers, params.peers);
    params = std::move(record);
    return true;
}

void ResumeRecord::save(const lt::add_torrent_params& params, Trust trust) const {
    lt::entry record = lt::write_resume_data(trust == Trust::content ? params : withoutContent(params));
    record[trustKey] = trust == Trust::content ? 1 : 0;
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
