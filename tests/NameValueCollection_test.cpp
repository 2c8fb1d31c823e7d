#include <httpclient_core/NameValueCollection.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

using namespace foundation::httpclient_core;
using namespace std::string_literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;
using Strings = std::vector<std::string>;

static_assert(std::is_copy_constructible_v<NameValueCollection> && std::is_copy_assignable_v<NameValueCollection>);
static_assert(std::is_nothrow_move_constructible_v<NameValueCollection> &&
              std::is_nothrow_move_assignable_v<NameValueCollection>);

namespace {

Pairs pairsOf(const NameValueCollection& collection)
{
    return Pairs(collection.begin(), collection.end());
}

} // namespace

TEST(NameValueCollection, KeepsInsertionOrderAndSpellingWhileLookingUpWithoutCase)
{
    NameValueCollection c{{"Accept", "text/html"}, {"X", "1"}};
    c.add("accept", "application/json");
    c.add({"ACCEPT", "*/*"});
    EXPECT_EQ(pairsOf(c),
              (Pairs{{"Accept", "text/html"}, {"X", "1"}, {"accept", "application/json"}, {"ACCEPT", "*/*"}}));
    EXPECT_EQ(c.getAll("aCCEPT"), (Strings{"text/html", "application/json", "*/*"}));
    EXPECT_EQ(c.get("ACCEPT"), "text/html");
    EXPECT_EQ(c.find("accept"), c.cbegin());
    EXPECT_TRUE(c.has("x") && !c.has("Accep") && c.getAll("Accep").empty());
    EXPECT_EQ(c.find("Accep"), c.cend());
    EXPECT_THROW_MSG(c.get(" x"), std::out_of_range, " x not found.");
    EXPECT_THROW_MSG(NameValueCollection().get("name"), std::out_of_range, "name not found.");
}

TEST(NameValueCollection, LooksUpAlikeWhetherSearchedDirectlyOrThroughItsIndex)
{
    // Small collections are searched directly; 15 fillers cross into the index midway.
    for (const std::size_t fillers : {0U, 15U, 40U}) {
        SCOPED_TRACE(fillers);
        NameValueCollection c;
        for (std::size_t i = 0; i < fillers; ++i) {
            c.add("f" + std::to_string(i), "");
        }
        c.add("Accept", "1");
        c.add("x", "2");
        c.add("ACCEPT", "3");
        c.add("a\0b"s, "4");
        EXPECT_EQ(c.getAll("accept"), (Strings{"1", "3"}));
        EXPECT_EQ(c.get("A\0c"s), "4");
        c.set("accept", "5");
        EXPECT_EQ(c.getAll("aCCept"), (Strings{"5", "3"}));
        c.erase("ACCEPT");
        EXPECT_TRUE(c.has("X") && !c.has("accept"));
        EXPECT_EQ(c.size(), fillers + 2);
        EXPECT_EQ(std::prev(c.end())->second, "4");
    }
}

TEST(NameValueCollectionSet, ReplacesOnlyTheFirstMatchAndKeepsItsSpelling)
{
    NameValueCollection c{{"x", "1"}, {"X", "3"}};
    c.set("X", "2");
    c.set("new", "4");
    EXPECT_EQ(pairsOf(c), (Pairs{{"x", "2"}, {"X", "3"}, {"new", "4"}}));
}

TEST(NameValueCollectionErase, RemovesEverySpellingAndIgnoresAbsentNames)
{
    NameValueCollection c{{"A", "1"}, {"b", "2"}, {"a", "3"}};
    c.erase("a");
    c.erase("zzz");
    EXPECT_EQ(pairsOf(c), (Pairs{{"b", "2"}}));
}

TEST(NameValueCollectionEquality, IsOrderAndCaseSensitive)
{
    const NameValueCollection ab{{"a", "1"}, {"b", "2"}};
    EXPECT_EQ(ab, (NameValueCollection{{"a", "1"}, {"b", "2"}}));
    EXPECT_NE(ab, (NameValueCollection{{"b", "2"}, {"a", "1"}}));
    EXPECT_NE(ab, (NameValueCollection{{"a", "1"}}));
    EXPECT_NE((NameValueCollection{{"A", "1"}}), (NameValueCollection{{"a", "1"}}));
    EXPECT_NE((NameValueCollection{{"a", "x"}}), (NameValueCollection{{"a", "X"}}));
}

TEST(NameValueCollectionToString, JoinsPairsAndTransformsEachNameBeforeItsValue)
{
    const NameValueCollection c{{"a", "1"}, {"b", ""}};
    EXPECT_EQ(c.toString("&", "="), "a=1&b=");
    EXPECT_EQ(NameValueCollection().toString("&", "="), "");

    Strings seen;
    const auto bracket = [&seen](std::string text) {
        seen.push_back(text);
        return "<" + text + ">";
    };
    EXPECT_EQ(c.toString("; ", ": ", bracket), "<a>: <1>; <b>: <>");
    EXPECT_EQ(seen, (Strings{"a", "1", "b", ""}));
    std::ostringstream out;
    out << "head|";
    EXPECT_EQ(&c.toStream(out, "&", "=", bracket), &out);
    EXPECT_EQ(out.str(), "head|<a>=<1>&<b>=<>");
}

TEST(NameValueCollectionToString, EmptyTransformThrowsOnlyWhenThereIsAnEntry)
{
    const NameValueCollection::Transform none;
    std::ostringstream out;
    out << "kept";
    NameValueCollection().toStream(out, "&", "=", none);
    EXPECT_THROW(NameValueCollection({{"a", "1"}}).toStream(out, "&", "=", none), std::bad_function_call);
    EXPECT_EQ(out.str(), "kept");
}

TEST(NameValueCollectionCompare, FoldsOnlyAsciiLettersAndStopsAtTheFirstNul)
{
    const struct {
        std::string left, right;
        bool equal;
    } rows[] = {
        {"content-type", "Content-Type", true},
        {"[", "{", false},
        {"\xE9", "\xC9", false},
        {"\xC3\xA9", "\xC3\x89", false},
        {"a\0b"s, "a\0c"s, true},
        {"a\0b"s, "A", true},
        {"ab", "a", false},
        {"", "\0"s, true},
    };
    const NameValueCollection::CaseInsensitiveCompare less;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.left + " vs " + row.right);
        EXPECT_EQ(!less(row.left, row.right) && !less(row.right, row.left), row.equal);
    }
    const NameValueCollection c{{"a\0b"s, "1"}, {"\xC3\xA9", "2"}};
    EXPECT_EQ(c.getAll("a\0c"s), Strings{"1"});
    EXPECT_EQ(c.begin()->first, "a\0b"s);
    EXPECT_FALSE(c.has("\xC3\x89"));
}

TEST(NameValueCollectionCopy, IsIndependentAndAMovedFromCollectionCanBeAssignedAgain)
{
    const NameValueCollection original{{"a", "1"}};
    NameValueCollection copy(original);
    copy.set("a", "2");
    NameValueCollection assigned;
    assigned = original; // into an empty collection: a plain copy
    assigned.add("b", "3");
    EXPECT_EQ(pairsOf(original), (Pairs{{"a", "1"}}));
    EXPECT_EQ(pairsOf(copy), (Pairs{{"a", "2"}}));
    EXPECT_EQ(assigned.getAll("a"), Strings{"1"});

    NameValueCollection moved(std::move(assigned));
    assigned = original;
    moved = std::move(assigned);
    assigned = NameValueCollection{{"c", "3"}};
    EXPECT_EQ(moved.getAll("A"), Strings{"1"});
    EXPECT_EQ(assigned.get("C"), "3");
}

TEST(NameValueCollectionAssignment, IntoAFilledCollectionKeepsItsEarlierIndexEntriesByDesign)
{
    const NameValueCollection source{{"a", "new"}, {"b", "2"}};
    NameValueCollection target{{"a", "old"}, {"gone", "x"}};
    target = source;
    EXPECT_EQ(target, source);
    EXPECT_EQ(target.getAll("a"), (Strings{"new", "new"}));
    EXPECT_EQ(target.get("gone"), "2"); // the old name still refers to the reused entry
    target.erase("a");
    EXPECT_EQ(pairsOf(target), (Pairs{{"b", "2"}}));
    target.erase("b");
    EXPECT_TRUE(target.empty() && !target.has("gone"));

    // Assigned to itself, a collection indexes its entries once more.
    NameValueCollection twice{{"a", "1"}, {"A", "2"}};
    const auto& alias = twice;
    twice = alias;
    EXPECT_EQ(pairsOf(twice), (Pairs{{"a", "1"}, {"A", "2"}}));
    EXPECT_EQ(twice.getAll("a"), (Strings{"1", "2", "1", "2"}));
    twice.erase("a");
    EXPECT_TRUE(twice.empty() && !twice.has("a"));

    // Where the list shrank, what the old names find is unsettled; it must stay safe.
    const NameValueCollection small{{"x", "9"}};
    NameValueCollection shrunk{{"a", "1"}, {"b", "2"}, {"c", "3"}};
    shrunk = small;
    EXPECT_EQ(shrunk.get("x"), "9");
    (void)shrunk.has("b");
    (void)shrunk.getAll("c");
    for (const char* name : {"b", "c", "x", "a"}) {
        shrunk.erase(name);
    }
    shrunk.add("c", "4");
    EXPECT_EQ(pairsOf(shrunk), (Pairs{{"c", "4"}}));
    EXPECT_EQ(shrunk.getAll("c"), Strings{"4"});
}
