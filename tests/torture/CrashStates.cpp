#include "CrashStates.h"

#include <algorithm>
#include <map>
#include <random>

namespace fetra::test {

namespace {

using Fates = std::map<size_t, Fate>;

/// All combinations of so many operations are tried.
constexpr size_t mostCombined = 4;
constexpr size_t randomChoices = 6;
constexpr size_t operationsInText = 12;

class Points {
public:
    Points(const DiskImage& before, const std::vector<Operation>& operations)
        : before_(before)
        , operations_(operations) {}

    /// Of the operations before `point`, those that can be lost then.
    [[nodiscard]] std::vector<size_t> unsynced(size_t point) const {
        std::vector<size_t> indices;
        for (size_t index = 0; index < point; ++index) {
            const Operation& operation = operations_[index];
            if ((operation.isOfFile() || operation.isOfFolder()) && !isSynced(index, point))
                indices.push_back(index);
        }
        return indices;
    }

    [[nodiscard]] CrashState state(size_t point, const Fates& fates) const {
        CrashState state{.point = point, .disk = before_, .text = {}};
        for (size_t index = 0; index < point; ++index) {
            const auto fate = fates.find(index);
            state.disk.apply(operations_[index], fate == fates.end() ? Fate::kept : fate->second);
        }
        return state;
    }

    [[nodiscard]] QByteArray text(size_t point, const Fates& fates) const {
        constexpr const char* words[] = {" (kept)", " (LOST)", " (TORN)", " (BLANK)", " (HOLED)"};
        QByteArray text;
        for (size_t index = 0; index < point; ++index) {
            const auto fate = fates.find(index);
            if (fate == fates.end() && index + operationsInText < point)
                continue;
            text += '\n' + QByteArray::number(static_cast<qulonglong>(index)) + ' ' +
                    operations_[index].text() +
                    (fate == fates.end() ? "" : words[static_cast<size_t>(fate->second)]);
        }
        return text;
    }

    /// What may have become of the operations that nobody has synced.
    [[nodiscard]] std::vector<Fates> choices(size_t point) {
        std::vector<size_t> ofFolders;
        std::vector<size_t> ofFiles;
        for (const size_t index : unsynced(point))
            (operations_[index].isOfFolder() ? ofFolders : ofFiles).push_back(index);
        std::vector<Fates> all;
        for (const Fates& entries : subsets(ofFolders)) {
            for (const Fates& data : dataChoices(ofFiles)) {
                all.push_back(entries);
                all.back().insert(data.begin(), data.end());
            }
        }
        return all;
    }

private:
    [[nodiscard]] bool isSynced(size_t index, size_t point) const {
        const Operation& operation = operations_[index];
        return std::any_of(
            operations_.begin() + static_cast<std::ptrdiff_t>(index),
            operations_.begin() + static_cast<std::ptrdiff_t>(point), [&](const Operation& later) {
                return operation.isOfFile()
                           ? later.kind == Operation::Kind::syncFile && later.file == operation.file
                           : later.kind == Operation::Kind::syncFolder && later.name == operation.folder();
            });
    }

    [[nodiscard]] static Fates all(const std::vector<size_t>& indices, Fate fate) {
        Fates fates;
        for (const size_t index : indices)
            fates[index] = fate;
        return fates;
    }

    [[nodiscard]] Fates random(const std::vector<size_t>& indices, const std::vector<Fate>& of) {
        Fates fates;
        for (const size_t index : indices)
            fates[index] = of[random_() % of.size()];
        return fates;
    }

    [[nodiscard]] std::vector<Fates> subsets(const std::vector<size_t>& indices) {
        std::vector<Fates> found;
        if (indices.size() <= mostCombined) {
            for (size_t bits = 0; bits < size_t{1} << indices.size(); ++bits) {
                Fates fates;
                for (size_t bit = 0; bit < indices.size(); ++bit)
                    fates[indices[bit]] = (bits >> bit & 1) != 0 ? Fate::kept : Fate::lost;
                found.push_back(fates);
            }
            return found;
        }
        found = {all(indices, Fate::kept), all(indices, Fate::lost)};
        for (size_t kept = 1; kept < indices.size(); ++kept) {
            found.push_back(all(indices, Fate::lost));
            for (size_t index = 0; index < kept; ++index)
                found.back()[indices[index]] = Fate::kept;
        }
        for (size_t choice = 0; choice < randomChoices; ++choice)
            found.push_back(random(indices, {Fate::kept, Fate::lost}));
        return found;
    }

    [[nodiscard]] std::vector<Fates> dataChoices(const std::vector<size_t>& indices) {
        if (indices.empty())
            return {Fates{}};
        std::vector<Fates> found;
        for (const Fate fate : {Fate::kept, Fate::lost, Fate::torn, Fate::blank, Fate::holed})
            found.push_back(all(indices, fate));
        for (size_t choice = 0; choice < randomChoices / 2; ++choice)
            found.push_back(random(indices, {Fate::kept, Fate::lost, Fate::torn, Fate::blank, Fate::holed}));
        return found;
    }

    const DiskImage& before_;
    const std::vector<Operation>& operations_;
    /// Always the same, so that a state is found again.
    std::mt19937 random_{1};
};

} // namespace

std::vector<CrashState> crashStates(const DiskImage& before, const std::vector<Operation>& operations,
                                    size_t limit) {
    Points points(before, operations);
    std::vector<std::pair<size_t, Fates>> distinct;
    std::map<QByteArray, size_t> seen;
    for (size_t point = 0; point <= operations.size(); ++point) {
        for (const Fates& fates : points.choices(point)) {
            const auto [place, isNew] =
                seen.try_emplace(points.state(point, fates).disk.digest(), distinct.size());
            if (isNew)
                distinct.emplace_back();
            // The later it comes, the more must have lasted.
            distinct[place->second] = {point, fates};
        }
    }
    const size_t count = std::min(limit, distinct.size());
    std::vector<CrashState> states;
    for (size_t number = 0; number < count; ++number) {
        const auto& [point, fates] = distinct[number * distinct.size() / count];
        states.push_back(points.state(point, fates));
        states.back().text = points.text(point, fates);
    }
    return states;
}

} // namespace fetra::test
