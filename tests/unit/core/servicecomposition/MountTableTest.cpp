#include "servicecomposition/MountTable.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Path.h"

namespace kova::detail {
namespace {

/// A resource handler that calls a function when it is destroyed.
class Farewell : public IResourceHandler {
public:
    explicit Farewell(std::function<void()> last) : last_(std::move(last)) {}
    ~Farewell() override { last_(); }
    void* actionRequest(const Request& /*request*/,
                        std::unique_ptr<IResponseHandler<Response>>&& /*handler*/,
                        const std::string& /*resourcePath*/) override {
        return nullptr;
    }
    void cancelRequest(void* /*handle*/) override {}

private:
    std::function<void()> last_;
};

MountTable makeTable(const std::vector<std::string>& paths) {
    MountTable::Handlers handlers;
    for (const std::string& path : paths) {
        handlers[path] = nullptr;
    }
    return MountTable(std::move(handlers));
}

/// The path of the mount that is found, or "-".
std::string found(const MountTable& table, const std::string& path) {
    MountTable::Mount const* const mount = table.find(path);
    return mount != nullptr ? mount->first : "-";
}

TEST(MountTableTest, AtFindsOnlyExactMatches) {
    const MountTable table = makeTable({"/a", "/a/b"});
    ASSERT_NE(table.at("/a/b"), nullptr);
    EXPECT_EQ(table.at("/a/b")->first, "/a/b");
    for (char const* const path : {"", "/", "a", "/a/", "/ab", "/a/b/c"}) {
        EXPECT_EQ(table.at(path), nullptr) << path;
    }
}

TEST(MountTableTest, FindsTheNearestAncestorOnASegmentBoundary) {
    const MountTable table = makeTable({"/a", "/a/b"});
    EXPECT_EQ(found(table, "/a"), "/a");
    EXPECT_EQ(found(table, "/a//"), "/a");
    EXPECT_EQ(found(table, "/a/x/y"), "/a");
    EXPECT_EQ(found(table, "/a/b/c"), "/a/b");
    EXPECT_EQ(found(table, "/ab"), "-");
    EXPECT_EQ(found(table, "a"), "-");
    EXPECT_EQ(found(table, ""), "-");
    EXPECT_EQ(found(table, "/"), "-");
}

TEST(MountTableTest, MountWithAnEmptyPathIsNotFound) {
    const MountTable table = makeTable({""});
    EXPECT_EQ(table.at(""), nullptr);
    EXPECT_EQ(found(table, ""), "-");
    EXPECT_EQ(found(table, "a"), "-");
    EXPECT_EQ(table.paths(), std::vector<std::string>{""});
}

TEST(MountTableTest, EmptyTableFindsNothing) {
    const MountTable table = makeTable({});
    EXPECT_EQ(found(table, "/a/b"), "-");
    EXPECT_TRUE(table.paths().empty());
}

/// A reference for `MountTable::find`, which follows its description step by step with a new path
/// in each step.
std::string foundStepByStep(const MountTable& table, std::string path) {
    while (path.size() > 1 && path.back() == '/' &&
           path.find_first_not_of('/', 1) != std::string::npos) {
        path.pop_back();
    }
    for (; !path.empty(); path = Path::parent(path)) {
        if (table.at(path) != nullptr) {
            return path;
        }
    }
    return "-";
}

TEST(MountTableTest, AgreesWithASearchOfAllAncestors) {
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; texts.size() < 1U << 9; ++i) {
        texts.push_back(texts[i] + 'a');
        texts.push_back(texts[i] + '/');
    }
    const std::vector<std::string> mounts[] = {{"/", "/a", "/a/a"}, {"/a", "/a/a"},  {"a", "a/a"},
                                               {"/a", "/a//a"},     {"aa", "/aa/a"}, {"/"},
                                               {"//", "a/", "/a/"}};
    for (const std::vector<std::string>& paths : mounts) {
        const MountTable table = makeTable(paths);
        for (const std::string& text : texts) {
            ASSERT_EQ(found(table, text), foundStepByStep(table, text)) << text;
        }
    }
}

TEST(MountTableTest, PathsAreInAscendingOrder) {
    EXPECT_EQ(makeTable({"/b", "/a/b", "/a"}).paths(),
              (std::vector<std::string>{"/a", "/a/b", "/b"}));
}

TEST(MountTableTest, TableIsEmptyWhileItsHandlersAreDestroyed) {
    MountTable::Handlers handlers;
    MountTable const* used = nullptr;
    int destroyed = 0;
    for (char const* const path : {"/a", "/b"}) {
        handlers[path] = std::make_unique<Farewell>([&used, &destroyed] {
            ++destroyed;
            EXPECT_EQ(used->find("/a"), nullptr);
            EXPECT_EQ(used->find("/b/c"), nullptr);
        });
    }
    MountTable table(std::move(handlers));
    used = &table;
    EXPECT_NE(table.find("/a"), nullptr);
    table.clear();
    EXPECT_EQ(destroyed, 2);
}

}  // namespace
}  // namespace kova::detail
