#include "helpers/torrent/ContentRules.h"

#include <libtorrent/bdecode.hpp>

#include <filesystem>
#include <set>
#include <string_view>

namespace fetra::torrent::ContentRules {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

namespace {

bool leavesFolder(std::string_view name) {
    if (name.starts_with('/'))
        return true;
    for (size_t begin = 0; begin <= name.size();) {
        const size_t end = std::min(name.find('/', begin), name.size());
        if (name.substr(begin, end - begin) == "..")
            return true;
        begin = end + 1;
    }
    return false;
}

bool leavesFolder(lt::string_view name) {
    return leavesFolder(std::string_view(name.data(), name.size()));
}

bool anyLeaves(const lt::bdecode_node& names) {
    for (int i = 0; i < names.list_size(); ++i)
        if (names.list_at(i).type() == lt::bdecode_node::string_t &&
            leavesFolder(names.list_string_value_at(i)))
            return true;
    return false;
}

/// The form of later torrents: folders within folders, down to files under an empty name.
bool treeLeaves(const lt::bdecode_node& tree, int depth) {
    constexpr int deepest = 200;
    if (tree.type() != lt::bdecode_node::dict_t)
        return false;
    for (int i = 0; i < tree.dict_size(); ++i) {
        const auto [name, below] = tree.dict_at(i);
        if (leavesFolder(name) || depth > deepest || (!name.empty() && treeLeaves(below, depth + 1)))
            return true;
    }
    return false;
}

/// The names as the torrent has them. The library makes harmless ones of them; that it has to is reason
/// enough to have nothing to do with the torrent.
bool namesLeave(const lt::torrent_info& info) {
    lt::error_code error;
    const lt::bdecode_node dictionary = lt::bdecode(info.info_section(), error);
    if (error || dictionary.type() != lt::bdecode_node::dict_t)
        return true;
    for (const char* key : {"name", "name.utf-8"})
        if (leavesFolder(dictionary.dict_find_string_value(key)))
            return true;
    const lt::bdecode_node files = dictionary.dict_find_list("files");
    for (int i = 0; files && i < files.list_size(); ++i) {
        if (files.list_at(i).type() != lt::bdecode_node::dict_t)
            continue;
        for (const char* key : {"path", "path.utf-8"})
            if (const lt::bdecode_node path = files.list_at(i).dict_find_list(key); path && anyLeaves(path))
                return true;
    }
    const lt::bdecode_node tree = dictionary.dict_find_dict("file tree");
    return tree && treeLeaves(tree, 0);
}

bool isLink(const fs::path& path) {
    std::error_code error;
    return fs::is_symlink(fs::symlink_status(path, error));
}

} // namespace

std::optional<QString> objection(const lt::torrent_info& info, const std::string& folder) {
    if (namesLeave(info))
        return u"The torrent names files outside of its folder."_s;
    const lt::file_storage& files = info.files();
    std::set<fs::path> known;
    for (const lt::file_index_t file : files.file_range()) {
        if (files.file_flags(file) & lt::file_storage::flag_symlink)
            return u"The torrent contains symbolic links, which could lead out of its folder."_s;
        fs::path path = folder;
        for (const fs::path& step : fs::path(files.file_path(file))) {
            path /= step;
            if (known.insert(path).second && isLink(path))
                return u"\"%1\" is a symbolic link, which could lead out of the folder."_s.arg(
                    QString::fromStdString(path.string()));
        }
    }
    return std::nullopt;
}

} // namespace fetra::torrent::ContentRules
