#include "Facts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <locale>
#include <map>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

#include "TemporaryFolder.h"
#include "support/Trees.h"

namespace device {
namespace {

template <typename T, T (*READ)(std::istream&)>
std::string json(const std::string& text) {
    std::istringstream file(text);
    const kova::Payload payload = kova::kit::toPayload(READ(file)).orThrow();
    std::string result;
    payload.getBlob().toString(result);
    return result;
}

const std::map<std::string, std::string (*)(const std::string&)> READERS = {
    {"cpu", json<Counts, readCpu>},
    {"load", json<Load, readLoad>},
    {"memory", json<Counts, readMemory>},
    {"network", json<std::map<std::string, Counts>, readNetwork>},
    {"storage", json<std::map<std::string, Mount>, readStorage>},
    {"uptime", json<std::map<std::string, double>, readUptime>}};

class FactsTest : public testing::Test {
protected:
    /// Returns the facts in the text, as JSON.
    static std::string read(const std::string& name, const std::string& text) {
        return READERS.at(name)(text);
    }

    test::TemporaryFolder folder;
};

struct FactsRow {
    char const* name;
    std::string text;
    char const* facts;
};

void PrintTo(const FactsRow& row, std::ostream* out) {
    *out << row.name << " of '" << row.text.substr(0, 100) << "'";
}

const FactsRow FACTS[] = {
    {"memory", "MemTotal:       2000 kB\nMemFree:  500 kB\nHugePages_Total: 7\n",
     R"({"MemFree":512000,"MemTotal":2048000})"},
    {"memory", "SwapFree: 1 kB\nSwapTotal: 2 kB\nCached: 3 kB\nBuffers: 4 kB\nMemAvailable: 5 kB\n",
     R"({"Buffers":4096,"Cached":3072,"MemAvailable":5120,"SwapFree":1024,"SwapTotal":2048})"},
    {"memory", "MemTotal: 1", R"({"MemTotal":1024})"},
    {"memory", "MemTotal: 1 kB\nMemTotal: 2 kB", R"({"MemTotal":2048})"},
    {"memory", "MemTotal: 1 kB\r\nMemFree:2 kB", R"({"MemTotal":1024})"},
    {"memory", "MemTotal: many kB\nMemFree:\n: 5\n\n  \nMemTotalled: 5", "{}"},
    {"memory", "MemTotal: 99999999999999999999999 kB", "{}"},
    {"memory", "MemTotal\xff: 1\nMemTotal: 2\n", R"({"MemTotal":2048})"},
    {"memory", std::string("MemTotal: 1 kB\0\nMemFree: 2 kB\0", 29),
     R"({"MemFree":2048,"MemTotal":1024})"},
    {"memory", std::string(1000000, 'x') + "\nMemFree: 2", R"({"MemFree":2048})"},
    {"memory", "", "{}"},

    {"load", "0.50 0.25 1.00 2/300 12345\n",
     R"({"15min":1.0,"1min":0.5,"5min":0.25,"running":2,"tasks":300})"},
    {"load", "0.50 0.25 1.00 2", "{}"},
    {"load", "heavy", "{}"},
    {"load", "inf nan 1.00 2/300", "{}"},
    {"load", "1e999 0.25 1.00 2/300", "{}"},
    {"load", "", "{}"},

    {"uptime", "1000.50 2000.25\n", R"({"idle":2000.25,"up":1000.5})"},
    {"uptime", "1000.50", "{}"},
    {"uptime", "long", "{}"},

    {"cpu", "cpu  1 2 3 4 5 6 7 0 0 0\ncpu0 1 1 1 1 1\ncpu1 1 1 1 1 1\nintr 5\nctxt 7\n",
     R"({"idle":4,"iowait":5,"nice":2,"processors":2,"system":3,"user":1})"},
    {"cpu", "cpu  1 2 x 4 5\n", R"({"nice":2,"user":1})"},
    {"cpu", "cpu\ncp\n c\n\n", "{}"},
    {"cpu", "cpu 99999999999999999999 1\n", "{}"},

    {"network",
     "Inter-|   Receive                    |  Transmit\n"
     " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs\n"
     "    lo: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n"
     "eth0:100 200 300 0 0 0 0 0 400 500 600 0 0 0 0 0\n",
     R"({"eth0":{"receivedBytes":100,"receivedErrors":300,"receivedPackets":200,)"
     R"("sentBytes":400,"sentErrors":600,"sentPackets":500},)"
     R"("lo":{"receivedBytes":1,"receivedErrors":3,"receivedPackets":2,)"
     R"("sentBytes":9,"sentErrors":11,"sentPackets":10}})"},
    {"network", "lo: 1 2 3\neth0\n:\n  :\n: x\neth1: one two\n", "{}"},

    {"storage", "proc /proc proc rw 0 0\n/dev/none /no/such/folder ext4 rw 0 0\n", "{}"},
    {"storage", "/dev/\n/dev/x\n/\n\n/dev/x\\ \\04 y\n/dev/x \\", "{}"},
};

class FactsTableTest : public FactsTest, public testing::WithParamInterface<FactsRow> {};

TEST_P(FactsTableTest, ReadsTheFactsInTheText) {
    EXPECT_EQ(read(GetParam().name, GetParam().text), GetParam().facts);
}

INSTANTIATE_TEST_SUITE_P(Rows, FactsTableTest, testing::ValuesIn(FACTS));

TEST_F(FactsTest, ReportsTheStorageOfMountedDevices) {
    const std::string root = read("storage", "/dev/root / ext4 rw,relatime 0 0\ntmpfs / tmpfs\n");
    const auto tree = kova::test::parseTree(root);
    ASSERT_TRUE(tree->hasKey("/")) << root;
    EXPECT_EQ((*tree)["/"]["device"].toJson(true), "\"/dev/root\"");
    EXPECT_EQ((*tree)["/"]["type"].toJson(true), "\"ext4\"");
    unsigned long size = 0;
    unsigned long available = 0;
    EXPECT_FALSE((*tree)["/"]["size"].get(size));
    EXPECT_FALSE((*tree)["/"]["available"].get(available));
    EXPECT_GT(size, 0U);
    EXPECT_LE(available, size);
}

TEST_F(FactsTest, FindsAMountWithBlanksInItsName) {
    const std::string stick = folder / "my\tmemory stick";
    std::filesystem::create_directory(stick);
    const auto tree = kova::test::parseTree(
        read("storage", "/dev/a\\040b " + (folder / "my\\011memory\\040stick") + " vfat\n"));
    ASSERT_TRUE(tree->hasKey(stick)) << tree->toJson(true);
    EXPECT_EQ((*tree)[stick]["device"].toJson(true), "\"/dev/a b\"");
}

TEST_F(FactsTest, OmitsAMountWhoseNameIsNotUtf8) {
    const std::string odd = folder / "odd\xff";
    std::filesystem::create_directory(odd);
    EXPECT_EQ(read("storage", "/dev/x " + odd + " vfat rw\n"), "{}");
}

class GermanNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(FactsTest, ParsingIgnoresTheGlobalLocale) {
    const std::locale former =
        std::locale::global(std::locale(std::locale::classic(), new GermanNumbers));
    const std::string uptime = read("uptime", "1000.50 2.25");
    const std::string memory = read("memory", "MemTotal: 1000 kB");
    std::locale::global(former);
    EXPECT_EQ(uptime, R"({"idle":2.25,"up":1000.5})");
    EXPECT_EQ(memory, R"({"MemTotal":1024000})");
}

TEST_F(FactsTest, RandomFilesProduceValidFacts) {
    const std::string words[] = {"cpu",
                                 "cpu0",
                                 "MemTotal:",
                                 "lo:",
                                 "/dev/x",
                                 "/",
                                 " ",
                                 "\n",
                                 "1",
                                 "-1",
                                 "1e999",
                                 ":",
                                 "\\040",
                                 "\\",
                                 "\\7",
                                 "\xff",
                                 "1/2",
                                 "\t",
                                 "\r",
                                 "ü",
                                 "\\777",
                                 "99999999999999999999",
                                 "eth0",
                                 "nan",
                                 std::string(1, '\0')};
    std::mt19937 random(1);
    for (int round = 0; round < 100; ++round) {
        std::string text;
        for (unsigned long i = random() % 60; i > 0; --i) {
            text += words[random() % std::size(words)];
        }
        for (const auto& [name, reader] : READERS) {
            const std::string facts = reader(text);
            EXPECT_NE(kova::test::parseTree(facts), nullptr) << facts;
            EXPECT_EQ(facts.find("\xEF\xBF\xBD"), std::string::npos) << "all names are text";
        }
    }
}

TEST_F(FactsTest, ReadsFactsOfTheRunningMachine) {
    for (const auto& [name, file, fact] : {std::tuple{"memory", "meminfo", "MemTotal"},
                                           {"load", "loadavg", "tasks"},
                                           {"uptime", "uptime", "up"},
                                           {"cpu", "stat", "processors"}}) {
        const std::string text = test::readFile(std::string("/proc/") + file);
        EXPECT_TRUE(kova::test::parseTree(read(name, text))->hasKey(std::string(fact))) << name;
    }
}

}  // namespace
}  // namespace device
