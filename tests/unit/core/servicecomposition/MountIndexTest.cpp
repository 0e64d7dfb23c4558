#include "servicecomposition/MountIndex.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

namespace kova::detail {
namespace {

/// Mounts without handlers, and their index.
class Indexed {
public:
    explicit Indexed(const std::vector<std::string>& paths) {
        std::vector<const MountIndex::Mount*> pointers;
        for (const std::string& path : paths) {
            pointers.push_back(&mounts_.emplace_back(path, nullptr));
        }
        index = MountIndex(pointers);
    }

    /// Returns the path of the mount that is found, or "-".
    std::string find(const std::string& path) const {
        MountIndex::Mount const* const mount = index.find(path);
        return mount != nullptr ? mount->first : "-";
    }

    MountIndex index;

private:
    std::deque<MountIndex::Mount> mounts_;
};

TEST(MountIndexTest, FindsNothingInAnEmptyIndex) {
    const MountIndex index;
    for (char const* const path : {"", "/", "/a", "/a/long/path/of/many/characters"}) {
        EXPECT_EQ(index.find(path), nullptr) << path;
    }
}

TEST(MountIndexTest, FindsPathsOfEveryLengthButNotTheirPrefixes) {
    std::vector<std::string> paths;
    std::string path = "/";
    for (char c = 'a'; path.size() <= 50; c = c == 'z' ? 'a' : static_cast<char>(c + 1)) {
        paths.push_back(path);
        path += c;
        path += c;
    }
    const Indexed indexed(paths);
    for (const std::string& each : paths) {
        EXPECT_EQ(indexed.find(each), each);
        EXPECT_EQ(indexed.find(each + each.back()), "-") << each;
        EXPECT_EQ(indexed.find(each.substr(1)), "-") << each;
    }
}

TEST(MountIndexTest, DistinguishesPathsThatDifferInOneCharacter) {
    for (std::size_t size = 1; size <= 40; ++size) {
        const std::string path(size, 'a');
        const Indexed indexed({path});
        EXPECT_EQ(indexed.find(path), path);
        for (std::size_t at = 0; at < size; ++at) {
            std::string other = path;
            other[at] = 'b';
            EXPECT_EQ(indexed.find(other), "-") << other;
        }
    }
}

TEST(MountIndexTest, DistinguishesPathsWithTheSameHash) {
    // "a" and this text have the same hash: for texts of up to seven characters, the hash mixes the
    // exclusive or of the length and the characters (1 ^ 'a' == 2 ^ 'b').
    const std::string colliding("\0b", 2);
    EXPECT_EQ(Indexed({"a"}).find(colliding), "-");
    const Indexed both({"a", colliding});
    EXPECT_EQ(both.find("a"), "a");
    EXPECT_EQ(both.find(colliding), colliding);
}

TEST(MountIndexTest, FindsEveryMountInIndexesOfAllSizes) {
    std::vector<std::string> paths;
    for (int count = 0; count <= 300; ++count) {
        const Indexed indexed(paths);
        for (const std::string& path : paths) {
            ASSERT_EQ(indexed.find(path), path) << "of " << count;
        }
        const std::string next = "/svc/r" + std::to_string(count);
        ASSERT_EQ(indexed.find(next), "-");
        paths.push_back(next);
    }
}

TEST(MountIndexTest, FindsNothingAfterClear) {
    Indexed indexed({"/a", "/b"});
    indexed.index.clear();
    EXPECT_EQ(indexed.find("/a"), "-");
    EXPECT_EQ(indexed.find("/b"), "-");
}

}  // namespace
}  // namespace kova::detail
