#include "documents/StoredTree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <utility>

#include "kova/core/Path.h"
#include "support/TemporaryFolder.h"
#include "support/Trees.h"
#include "util/Limits.h"
#include "util/config/Scalars.h"

namespace kova::kit::detail {

void PrintTo(StoredTree::Result result, std::ostream* out) {
    constexpr char const* NAMES[] = {"Done",   "Created",  "NotFound",
                                     "Exists", "Conflict", "NotSaved"};
    *out << NAMES[static_cast<int>(result)];
}

namespace {

using Result = StoredTree::Result;
using util::config::Value;

constexpr std::size_t DEEPEST = util::MAX_NESTING_DEPTH;

Tree json(const std::string& text) {
    return Tree(kova::test::parseTree(text).release());
}

std::string nested(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

class StoredTreeTest : public testing::Test {
protected:
    /// Writes the text into the file and returns the document loaded from it.
    StoredTree opened(const std::string& text) {
        kova::test::writeFile(file, text);
        return reopened();
    }
    StoredTree reopened() {
        StoredTree document(file);
        document.load().orThrow();
        return document;
    }
    static std::string textOf(const StoredTree& document) {
        return document.find({})->toJson(true);
    }
    /// Returns the text of the document in the file.
    std::string savedText() { return textOf(reopened()); }
    bool leftNothingBehind() { return access((file + ".new").c_str(), F_OK) != 0; }

    kova::test::TemporaryFolder folder;
    const std::string file = folder / "store.json";
};

// Changes

enum class Change { Update, Insert, Remove };

struct ChangeRow {
    char const* before;
    Change change;
    char const* path;
    char const* value;
    Result result;
    char const* after;
};

void PrintTo(const ChangeRow& row, std::ostream* out) {
    constexpr char const* NAMES[] = {"update", "insert", "remove"};
    *out << NAMES[static_cast<int>(row.change)] << " '" << row.path << "' of " << row.before
         << " with " << row.value;
}

constexpr ChangeRow CHANGES[] = {
    {"{}", Change::Update, "a", "1", Result::Created, R"({"a":1})"},
    {R"({"a":1})", Change::Update, "a", "null", Result::Done, R"({"a":null})"},
    {R"({"a":{"b":1}})", Change::Update, "a/b", "[]", Result::Done, R"({"a":{"b":[]}})"},
    {R"({"a":{"b":1}})", Change::Update, "a/c", "2", Result::Created, R"({"a":{"b":1,"c":2}})"},
    {R"({"a":1})", Change::Update, "a/b", "2", Result::Conflict, R"({"a":1})"},
    {R"({"a":1})", Change::Update, "a/b/c", "2", Result::NotFound, R"({"a":1})"},
    {R"({"a":null})", Change::Update, "a/b", "2", Result::Conflict, R"({"a":null})"},
    {"{}", Change::Update, "a/b", "2", Result::NotFound, "{}"},
    {R"({"a":1})", Change::Update, "", "[2]", Result::Done, "[2]"},
    {"[2]", Change::Update, "", "{}", Result::Done, "{}"},
    {R"({"a":1})", Change::Update, "", "5", Result::Conflict, R"({"a":1})"},
    {R"({"a":1})", Change::Update, "", "null", Result::Conflict, R"({"a":1})"},
    {"[1,2]", Change::Update, "0", "9", Result::Done, "[9,2]"},
    {"[1,2]", Change::Update, "2", "9", Result::Created, "[1,2,9]"},
    {"[1,2]", Change::Update, "-", "9", Result::Created, "[1,2,9]"},
    {"[1,2]", Change::Update, "3", "9", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Update, "x", "9", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Update, "-1", "9", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Update, "+1", "9", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Update, "1x", "9", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Update, "18446744073709551616", "9", Result::NotFound, "[1,2]"},
    {"[[1],[2]]", Change::Update, "1/0", "9", Result::Done, "[[1],[9]]"},
    {"[1]", Change::Update, "0/0", "9", Result::Conflict, "[1]"},
    {"[[1]]", Change::Update, "-/0", "9", Result::NotFound, "[[1]]"},
    {"{}", Change::Update, "-", "9", Result::Created, R"({"-":9})"},
    {"{}", Change::Update, "0", "9", Result::Created, R"({"0":9})"},

    {"{}", Change::Insert, "a", "1", Result::Created, R"({"a":1})"},
    {R"({"a":1})", Change::Insert, "a", "2", Result::Exists, R"({"a":1})"},
    {R"({"a":1})", Change::Insert, "a/b", "2", Result::Conflict, R"({"a":1})"},
    {"{}", Change::Insert, "a/b", "2", Result::NotFound, "{}"},
    {"{}", Change::Insert, "", "{}", Result::Exists, "{}"},
    {"{}", Change::Insert, "", "5", Result::Exists, "{}"},
    {"[1,2]", Change::Insert, "0", "9", Result::Created, "[9,1,2]"},
    {"[1,2]", Change::Insert, "1", "9", Result::Created, "[1,9,2]"},
    {"[1,2]", Change::Insert, "2", "9", Result::Created, "[1,2,9]"},
    {"[1,2]", Change::Insert, "-", "9", Result::Created, "[1,2,9]"},
    {"[1,2]", Change::Insert, "3", "9", Result::NotFound, "[1,2]"},
    {"[]", Change::Insert, "-", "null", Result::Created, "[null]"},

    {R"({"a":1,"b":2})", Change::Remove, "a", "", Result::Done, R"({"b":2})"},
    {R"({"a":{"b":[]}})", Change::Remove, "a/b", "", Result::Done, R"({"a":{}})"},
    {R"({"a":1})", Change::Remove, "b", "", Result::NotFound, R"({"a":1})"},
    {R"({"a":1})", Change::Remove, "a/b", "", Result::NotFound, R"({"a":1})"},
    {R"({"a":1})", Change::Remove, "b/c", "", Result::NotFound, R"({"a":1})"},
    {R"({"a":1})", Change::Remove, "", "", Result::Done, "{}"},
    {"[1]", Change::Remove, "", "", Result::Done, "{}"},
    {"[1,2,3]", Change::Remove, "1", "", Result::Done, "[1,3]"},
    {"[1,2]", Change::Remove, "2", "", Result::NotFound, "[1,2]"},
    {"[1,2]", Change::Remove, "-", "", Result::NotFound, "[1,2]"},
    {"[true,null]", Change::Remove, "1", "", Result::Done, "[true]"},
};

class StoredTreeChangeTest : public StoredTreeTest,
                             public testing::WithParamInterface<ChangeRow> {};

TEST_P(StoredTreeChangeTest, ChangesTheDocumentAndTheFile) {
    const ChangeRow& row = GetParam();
    StoredTree document = opened(row.before);
    const StoredTree::Path path = kova::Path::split(row.path);

    const Result result = row.change == Change::Remove   ? document.remove(path)
                          : row.change == Change::Update ? document.update(path, json(row.value))
                                                         : document.insert(path, json(row.value));

    EXPECT_EQ(result, row.result);
    EXPECT_EQ(textOf(document), row.after);
    EXPECT_EQ(savedText(), row.after);
    EXPECT_TRUE(leftNothingBehind());
}

INSTANTIATE_TEST_SUITE_P(Rows, StoredTreeChangeTest, testing::ValuesIn(CHANGES));

TEST_F(StoredTreeTest, FindsNodesByKeyAndIndex) {
    const StoredTree document = opened(R"({"a":[{"b":7}],"-":1,"":2})");
    EXPECT_EQ(*document.find({"a", "0", "b"}), *json("7"));
    EXPECT_EQ(*document.find({"-"}), *json("1"));
    EXPECT_EQ(*document.find({""}), *json("2"));
    for (const StoredTree::Path& path :
         {StoredTree::Path{"a", "1"}, {"a", "-"}, {"a", ""}, {"a", "0", "b", "c"}, {"x", "y"}}) {
        EXPECT_EQ(document.find(path), nullptr);
    }
}

TEST_F(StoredTreeTest, AnyUtf8TextIsAValidKey) {
    StoredTree document = reopened();
    for (const std::string& key :
         {std::string(), std::string("a/b"), std::string(".."), std::string("\0x", 2),
          std::string("\"\\\n"), std::string("ключ"), std::string(100000, 'k')}) {
        ASSERT_EQ(document.insert({key}, json("1")), Result::Created) << key;
        ASSERT_NE(reopened().find({key}), nullptr) << key;
    }
}

TEST_F(StoredTreeTest, VeryLongPathIsNotFound) {
    StoredTree document = opened(R"({"a":{}})");
    const StoredTree::Path path(100000, "a");
    EXPECT_EQ(document.find(path), nullptr);
    EXPECT_EQ(document.update(path, json("1")), Result::NotFound);
    EXPECT_EQ(document.remove(path), Result::NotFound);
}

// Changes that could not be read back

TEST_F(StoredTreeTest, RejectsANonUtf8Key) {
    StoredTree document = opened("{}");
    EXPECT_EQ(document.update({"\xff"}, json("1")), Result::Conflict);
    EXPECT_EQ(textOf(document), "{}");
    EXPECT_EQ(savedText(), "{}");
}

TEST_F(StoredTreeTest, RejectsANumberThatJsonCannotExpress) {
    StoredTree document = opened("{}");
    Tree value(new util::config::ValueFloat(std::numeric_limits<double>::infinity()));
    EXPECT_EQ(document.update({"a"}, std::move(value)), Result::Conflict);
    EXPECT_EQ(textOf(document), "{}");
}

TEST_F(StoredTreeTest, RejectsChangesBeyondTheNestingLimit) {
    StoredTree document = opened("{}");
    EXPECT_EQ(document.update({"a"}, json(nested(DEEPEST))), Result::Conflict);
    EXPECT_EQ(document.update({"a"}, json(nested(DEEPEST - 1))), Result::Created);
    StoredTree::Path deepest(DEEPEST, "0");
    deepest[0] = "a";
    EXPECT_EQ(document.insert(deepest, json("1")), Result::Created);
    deepest.back() = "-";
    EXPECT_EQ(document.insert(deepest, json("[]")), Result::Conflict);
    EXPECT_EQ(savedText(), textOf(document));
}

TEST_F(StoredTreeTest, RejectsChangesBeyondTheMaximumSize) {
    const std::size_t rest = std::string("{\n  \"a\": \"\"\n}\n").size();
    StoredTree document = opened("{}");
    std::string text(StoredTree::MAX_SIZE - rest, 'x');
    EXPECT_EQ(document.update({"a"}, json('"' + text + '"')), Result::Created);
    EXPECT_EQ(kova::test::readFile(file).size(), StoredTree::MAX_SIZE);
    reopened();

    EXPECT_EQ(document.update({"a"}, json('"' + text + "x\"")), Result::Conflict);
    EXPECT_EQ(kova::test::readFile(file).size(), StoredTree::MAX_SIZE);
    EXPECT_EQ(document.update({"a"}, json("1")), Result::Done);
}

// Loading

TEST_F(StoredTreeTest, MissingFileIsAnEmptyObject) {
    StoredTree document(file);
    EXPECT_TRUE(document.load());
    EXPECT_EQ(textOf(document), "{}");
    EXPECT_EQ(document.insert({"a"}, json("1")), Result::Created);
    EXPECT_EQ(kova::test::readFile(file), "{\n  \"a\": 1\n}\n");
}

TEST_F(StoredTreeTest, LastOfDuplicateKeysWins) {
    EXPECT_EQ(textOf(opened(R"({"a":1,"b":{"c":2,"c":3},"a":4})")), R"({"a":4,"b":{"c":3}})");
}

TEST_F(StoredTreeTest, RejectsAnInvalidDocumentAndKeepsTheFile) {
    const std::string texts[] = {"",
                                 " ",
                                 "5",
                                 "null",
                                 "\"{}\"",
                                 "{",
                                 "{}{}",
                                 "{\"a\":1,}",
                                 "{'a':1}",
                                 "[1",
                                 "// {}",
                                 "{\"a\":\"\xff\"}",
                                 "{\"a\":1e999}",
                                 std::string(1000, '\0'),
                                 nested(DEEPEST + 1),
                                 std::string(1000000, '[')};
    StoredTree document = opened(R"({"a":1})");
    for (const std::string& text : texts) {
        kova::test::writeFile(file, text);
        const auto loaded = document.load();
        ASSERT_FALSE(loaded) << text.substr(0, 20);
        EXPECT_EQ(loaded.error().message.find("cannot use " + file + " as a document: "), 0U);
        EXPECT_EQ(textOf(document), R"({"a":1})");
        EXPECT_EQ(kova::test::readFile(file), text);
    }
}

TEST_F(StoredTreeTest, LoadsADocumentAtTheNestingLimit) {
    EXPECT_EQ(textOf(opened(nested(DEEPEST))), nested(DEEPEST));
}

TEST_F(StoredTreeTest, RejectsAFileBeyondTheMaximumSize) {
    const std::string largest = "{}" + std::string(StoredTree::MAX_SIZE - 2, ' ');
    opened(largest);
    for (const off_t size : {off_t{StoredTree::MAX_SIZE} + 1, off_t{1} << 40}) {
        ASSERT_EQ(truncate(file.c_str(), size), 0);
        StoredTree document(file);
        const auto loaded = document.load();
        ASSERT_FALSE(loaded);
        EXPECT_NE(loaded.error().message.find("it is too large"), std::string::npos);
    }
}

TEST_F(StoredTreeTest, RejectsAnythingButARegularFile) {
    const std::string fifo = folder / "fifo";
    const std::string loop = folder / "loop";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    for (const std::string& name :
         {folder.path(), fifo, loop, std::string("/dev/zero"), std::string("/dev/null")}) {
        StoredTree document(name);
        const auto loaded = document.load();
        ASSERT_FALSE(loaded);
        EXPECT_EQ(loaded.error().message, "cannot read " + name);
    }
}

// Saving

TEST_F(StoredTreeTest, FailedSaveKeepsTheOldDocument) {
    StoredTree document(folder / "nowhere/store.json");
    EXPECT_EQ(document.update({"a"}, json("1")), Result::NotSaved);
    EXPECT_EQ(document.remove({}), Result::NotSaved);
    EXPECT_EQ(textOf(document), "{}");
}

TEST_F(StoredTreeTest, FullDiskKeepsTheOldDocument) {
    StoredTree document = opened(R"({"a":1})");
    const Tree large = json('"' + std::string(100000, 'x') + '"');
    auto* const formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    const rlimit small{4096, former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Result result = document.update({"b"}, Tree(large->clone()));
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, formerHandler);

    EXPECT_EQ(result, Result::NotSaved);
    EXPECT_EQ(textOf(document), R"({"a":1})");
    EXPECT_EQ(savedText(), R"({"a":1})");
    EXPECT_TRUE(leftNothingBehind());
    EXPECT_EQ(document.update({"b"}, Tree(large->clone())), Result::Created);
}

TEST_F(StoredTreeTest, FolderInPlaceOfTheTemporaryFileKeepsTheOldDocument) {
    StoredTree document = opened(R"({"a":1})");
    ASSERT_EQ(mkdir((file + ".new").c_str(), 0700), 0);
    EXPECT_EQ(document.update({"a"}, json("2")), Result::NotSaved);
    EXPECT_EQ(textOf(document), R"({"a":1})");
    EXPECT_EQ(savedText(), R"({"a":1})");
}

TEST_F(StoredTreeTest, ReplacesTheTemporaryFileOfAKilledProcess) {
    StoredTree document = opened("{}");
    kova::test::writeFile(file + ".new", std::string(1000, 'x'));
    EXPECT_EQ(document.update({"a"}, json("1")), Result::Created);
    EXPECT_EQ(savedText(), R"({"a":1})");
    EXPECT_TRUE(leftNothingBehind());
}

TEST_F(StoredTreeTest, DoesNotFollowALinkInPlaceOfTheTemporaryFile) {
    const std::string other = folder / "other";
    kova::test::writeFile(other, "precious");
    StoredTree document = opened("{}");
    ASSERT_EQ(symlink(other.c_str(), (file + ".new").c_str()), 0);
    EXPECT_EQ(document.update({"a"}, json("1")), Result::Created);
    EXPECT_EQ(kova::test::readFile(other), "precious");
    EXPECT_EQ(savedText(), R"({"a":1})");
}

TEST_F(StoredTreeTest, SavePreservesThePermissionsOfTheFile) {
    StoredTree document = opened("{}");
    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    EXPECT_EQ(document.update({"a"}, json("1")), Result::Created);
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(StoredTreeTest, FileNameWithoutAFolderIsSaved) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    StoredTree document("store.json");
    EXPECT_EQ(document.insert({"a"}, json("1")), Result::Created);
    std::filesystem::current_path(former);
    EXPECT_EQ(savedText(), R"({"a":1})");
}

// Killed processes

long counterOf(const StoredTree& document) {
    long counter = -1;
    Value const* const node = document.find({"counter"});
    return node == nullptr || node->get(counter) ? -1 : counter;
}

// Increments the counter in the document; writes one byte to `saved` for each saved number.
[[noreturn]] void countForEver(const std::string& file, int saved) {
    StoredTree document(file);
    if (!document.load()) {
        _exit(1);
    }
    for (long n = counterOf(document) + 1;; ++n) {
        const Result result = document.update({"counter"}, Tree(new util::config::ValueInt(n)));
        if (result != Result::Done || write(saved, "", 1) != 1) {
            _exit(2);
        }
    }
}

// Runs a child that counts until it has saved `patience` numbers, kills it after a random delay,
// and returns the number of saved numbers.
long countUntilKilled(const std::string& file, std::mt19937& random) {
    int ends[2];
    if (pipe(ends) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        countForEver(file, ends[1]);
    }
    close(ends[1]);
    if (child < 0) {
        return -1;
    }
    char byte = 0;
    long saved = 0;
    for (const long patience = 1 + static_cast<long>(random() % 4); saved < patience;) {
        if (read(ends[0], &byte, 1) != 1) {
            break;
        }
        ++saved;
    }
    for (volatile unsigned long i = random() % 1000000; i > 0; i = i - 1) {
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status);
    while (read(ends[0], &byte, 1) == 1) {
        ++saved;
    }
    close(ends[0]);
    return saved;
}

TEST_F(StoredTreeTest, KilledProcessLeavesACompleteDocument) {
    long counter = 0;
    opened("{\"counter\":0,\"ballast\":\"" + std::string(50000, 'x') + "\"}");
    std::mt19937 random(1);
    for (int round = 0; round < 100 && !HasFailure(); ++round) {
        const long saved = countUntilKilled(file, random);
        ASSERT_GT(saved, 0);
        const long found = counterOf(reopened());
        // The latest number may be in the file although its byte was not yet written.
        EXPECT_TRUE(found == counter + saved || found == counter + saved + 1)
            << found << " after " << counter << " + " << saved;
        counter = found;
    }
}

}  // namespace
}  // namespace kova::kit::detail
