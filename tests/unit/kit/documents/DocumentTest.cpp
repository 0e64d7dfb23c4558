#include "kova/kit/Document.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Service.h"
#include "support/Reports.h"
#include "support/TemporaryFolder.h"

namespace kova::kit {
namespace {

struct Audio {
    int volume = 30;
    bool muted = false;
};
KOVA_FIELDS(Audio, volume, optional(muted))

class DocumentTest : public testing::Test {
protected:
    DocumentTest() {
        test::writeFile(file, R"({"audio":{"volume":5},"list":[1,2]})");
        EXPECT_TRUE(document->load());
        service = ServiceBuilder().mount("/settings", *document).build();
        client.emplace(*service);
    }
    std::string error(const Result<void>& result) { return result.error().toString(); }

    test::Reports reports;
    test::TemporaryFolder folder;
    const std::string file = folder / "settings.json";
    std::optional<Document> document{file};
    std::unique_ptr<Service> service;
    std::optional<Client> client;
};

TEST_F(DocumentTest, ClientsReadAndChangeValuesByPath) {
    EXPECT_EQ(client->retrieve<Audio>("/settings/audio").get().value().volume, 5);
    const auto update = client->update<void>("/settings/audio", Audio{7, true}).full().get();
    EXPECT_EQ(update.value().code(), 204);
    const auto insert = client->insert<void>("/settings/list/1", 9).full().get();
    EXPECT_EQ(insert.value().code(), 201);
    EXPECT_TRUE(client->remove("/settings/list/0").get());
    EXPECT_EQ((client->retrieve<std::vector<int>>("/settings/list").get().value()),
              (std::vector<int>{9, 2}));
    EXPECT_TRUE(client->remove("/settings").get());
    EXPECT_EQ(test::readFile(file), "{}\n");
}

TEST_F(DocumentTest, ClientsGetTheReasonOfAnError) {
    EXPECT_EQ(error(client->update("/settings/a/b", 1).get()),
              "404 Not Found: path '/settings/a/b' not found");
    EXPECT_EQ(error(client->insert("/settings/list", 1).get()),
              "409 Conflict: there is something at '/settings/list' already");
    EXPECT_EQ(error(client->update("/settings", 1).get()),
              "409 Conflict: '/settings' cannot hold that");
    EXPECT_EQ(error(client->call<void>("update", "/settings/a").get()).substr(0, 3), "400");
}

TEST_F(DocumentTest, OwnerReadsAndChangesTypedValues) {
    EXPECT_EQ(document->get<int>("audio/volume").value(), 5);
    EXPECT_EQ(document->get<Audio>("audio").value().volume, 5);
    EXPECT_TRUE(document->set("audio", Audio{8, true}));
    EXPECT_TRUE(document->set("list/-", 3));
    EXPECT_EQ(document->get<bool>("audio/muted").value(), true);
    EXPECT_EQ(client->retrieve<bool>("/settings/audio/muted").get().value(), true);
    EXPECT_TRUE(document->erase("audio"));
    EXPECT_EQ((document->get<std::map<std::string, std::vector<int>>>().value()),
              (std::map<std::string, std::vector<int>>{{"list", {1, 2, 3}}}));
}

TEST_F(DocumentTest, GetSetAndEraseReturnAnErrorOnFailure) {
    EXPECT_EQ(document->get<int>("nothing").error().toString(),
              "404 Not Found: path 'nothing' not found");
    EXPECT_EQ(document->get<int>("list").error().code, 400);
    EXPECT_EQ(error(document->set("a/b", 1)), "404 Not Found: path 'a/b' not found");
    EXPECT_EQ(error(document->set("list/0/x", 1)), "409 Conflict: 'list/0/x' cannot hold that");
    EXPECT_EQ(error(document->erase("nothing")), "404 Not Found: path 'nothing' not found");
    Document unwritable(folder / "nowhere/settings.json");
    EXPECT_EQ(error(unwritable.set("a", 1)),
              "500 Internal Server Error: the document could not be written");
}

TEST_F(DocumentTest, NewObjectLoadsTheSavedChanges) {
    EXPECT_TRUE(document->set("audio/volume", 40));
    Document next(file);
    EXPECT_TRUE(next.load());
    EXPECT_EQ(next.get<int>("audio/volume").value(), 40);
}

TEST_F(DocumentTest, InvalidFileIsRejectedAndStaysUnchanged) {
    test::writeFile(file, "5");
    EXPECT_EQ(error(document->load()), "409 Conflict: cannot use " + file +
                                           " as a document: it is not a JSON object or array");
    EXPECT_EQ(document->get<int>("audio/volume").value(), 5);
    EXPECT_EQ(test::readFile(file), "5");
}

TEST_F(DocumentTest, RequestsToADestroyedDocumentAreAnsweredWith503) {
    document.reset();
    EXPECT_EQ(client->retrieve("/settings/list").get().error().code, 503);
}

TEST_F(DocumentTest, NoConcurrentChangeIsLost) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            for (int i = 0; i < 20; ++i) {
                EXPECT_TRUE(client->insert("/settings/list/-", t).get());
                EXPECT_TRUE(document->set("audio/volume", i));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(document->get<std::vector<int>>("list").value().size(), 82U);
}

}  // namespace
}  // namespace kova::kit
