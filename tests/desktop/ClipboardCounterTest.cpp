#include "app/desktop/ClipboardCounter.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using enum ClipboardCounter::Occasion;

TEST(ClipboardCounterTest, CountsEveryCopyAndEachNewSight) {
    struct Step {
        ClipboardCounter::Occasion occasion;
        std::optional<QString> text;
        int rise;
    };
    const QString a = u"https://a.example/"_s;
    const QString b = u"https://b.example/"_s;
    const struct {
        const char* what;
        std::vector<Step> steps;
    } cases[] = {
        {"what was dismissed stays so at every focus", {{sight, a, 1}, {sight, a, 0}, {sight, a, 0}}},
        {"copied elsewhere meanwhile", {{sight, a, 1}, {sight, b, 1}, {sight, a, 1}, {sight, a, 0}}},
        {"the same again, with the focus", {{copy, a, 1}, {copy, a, 1}, {sight, a, 0}, {copy, a, 1}}},
        {"a copy is seen already", {{sight, b, 1}, {copy, a, 1}, {sight, a, 0}, {sight, b, 1}}},
        {"without text at first", {{sight, {}, 0}, {sight, a, 1}}},
        {"without text in between", {{sight, a, 1}, {sight, {}, 1}, {sight, {}, 0}, {sight, a, 1}}},
        {"a copy without text", {{copy, {}, 1}, {copy, {}, 1}, {sight, {}, 0}}},
        {"an empty text is a text", {{copy, {}, 1}, {sight, u""_s, 1}, {sight, u""_s, 0}}},
    };
    for (const auto& [what, steps] : cases) {
        ClipboardCounter counter;
        qint64 expected = 0;
        for (const auto& [occasion, text, rise] : steps) {
            counter.announce(occasion, text);
            expected += rise;
            ASSERT_EQ(counter.count(), expected) << what;
        }
    }
}

} // namespace
} // namespace fetra::test
