#include "CrashStates.h"

#include "Stride.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <random>

namespace fetra::test {

namespace {

using Fates = std::map<size_t, Fate>;

constexpr size_t randomChoices = 16;
constexpr size_t operationsInText = 12;
constexpr std::array allFates{Fate::kept, Fate::lost, Fate::torn, Fate::blank, Fate::holed};

class Points {
public:
    Points(const DiskImage& before, const std::vector<Operation>& operations)
        : before_(before)
        , operations_(operations) {}

    [[nodiscard]] DiskImage disk(size_t point, const Fates& fates) const {
        DiskImage disk = before_;
        for (size_t index = 0; index < point; ++index) {
            const auto fate = fates.find(index);
            disk.apply(operations_[index], fate == fates.end() ? Fate::kept : fate->second);
        }
        return disk;
    }

    /// The last operations and what became of those that nobody had synced.
    [[nodiscard]] std::string text(size_t point, const Fates& fates) const {
        constexpr const char* words[] = {" (kept)", " (LOST)", " (TORN)", " (BLANK)", " (HOLED)"};
        std::string text;
        for (size_t index = 0; index < point; ++index) {
            const auto fate = fates.find(index);
            if (fate == fates.end() && index + operationsInText < point)
                continue;
            text += '\n' + std::to_string(index) + ' ' + operations_[index].text().toStdString() +
                    (fate == fates.end() ? "" : words[static_cast<size_t>(fate->second)]);
        }
        return text;
    }

    /// What may have become of the operations that nobody has synced. Of those in folders the first ones have
    /// lasted, or any; what stands in files has one fate, or each its own.
    [[nodiscard]] std::vector<Fates> choices(size_t point) {
        std::vector<size_t> ofFolders;
        std::vector<size_t> ofFiles;
        for (size_t index = 0; index < point; ++index) {
            const Operation& operation = operations_[index];
            if ((operation.isOfFile() || operation.isOfFolder()) && !isSynced(index, point))
                (operation.isOfFolder() ? ofFolders : ofFiles).push_back(index);
        }
        std::vector<Fates> all;
        for (size_t kept = 0; kept <= ofFolders.size(); ++kept) {
            for (const Fate fate : allFates) {
                Fates& fates = all.emplace_back();
                for (size_t i = 0; i < ofFolders.size(); ++i)
                    fates[ofFolders[i]] = i < kept ? Fate::kept : Fate::lost;
                for (const size_t index : ofFiles)
                    fates[index] = fate;
            }
        }
        for (size_t choice = 0; choice < randomChoices; ++choice) {
            Fates& fates = all.emplace_back();
            for (const size_t index : ofFolders)
                fates[index] = random_() % 2 == 0 ? Fate::kept : Fate::lost;
            for (const size_t index : ofFiles)
                fates[index] = allFates[random_() % allFates.size()];
        }
        return all;
    }

private:
    [[nodiscard]] bool isSynced(size_t index, size_t point) const {
        const Operation& operation = operations_[index];
        const auto begin = operations_.begin();
        return std::any_of(begin + static_cast<std::ptrdiff_t>(index),
                           begin + static_cast<std::ptrdiff_t>(point), [&](const Operation& later) {
                               return operation.isOfFile() ? later.kind == Operation::Kind::syncFile &&
                                                                 later.file == operation.file
                                                           : later.kind == Operation::Kind::syncFolder &&
                                                                 later.name == operation.folder();
                           });
    }

    const DiskImage& before_;
    const std::vector<Operation>& operations_;
    /// Always the same, so that a state is found again.
    std::mt19937 random_{1};
};

} // namespace

void cutPower(const OperationRecorder& recorder, size_t most, size_t atLeast,
              const std::function<void(const TempFolder& left, size_t point)>& check) {
    const size_t length = recorder.operations().size();
    Points points(recorder.before(), recorder.operations());
    std::vector<std::pair<size_t, Fates>> distinct;
    std::map<QByteArray, size_t> seen;
    for (size_t point = 0; point <= length; ++point) {
        for (const Fates& fates : points.choices(point)) {
            const auto [place, isNew] = seen.try_emplace(points.disk(point, fates).digest(), distinct.size());
            if (isNew)
                distinct.emplace_back();
            // The later it comes, the more must have lasted.
            distinct[place->second] = {point, fates};
        }
    }
    const size_t count = std::min(most / stride, distinct.size());
    for (size_t number = 0; number < count && !::testing::Test::HasFailure(); ++number) {
        const auto& [point, fates] = distinct[number * distinct.size() / count];
        SCOPED_TRACE(points.text(point, fates));
        const QuickFolder left;
        points.disk(point, fates).writeTo(left.path());
        check(left, point);
    }
    std::cout << length << " operations, " << count << " states of " << distinct.size() << '\n';
    EXPECT_GE(count * stride, atLeast);
}

} // namespace fetra::test
