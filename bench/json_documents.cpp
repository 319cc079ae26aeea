#include "json_documents.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

namespace bench {

namespace {

using Random = std::mt19937;

std::string quoted(const std::string& text) {
    std::string result(1, '"');
    return result.append(text).append(1, '"');
}

std::string words(Random& random, unsigned count) {
    static const char* const kWords[] = {
        "market", "こんにちは", "river", "été",    "http:\\/\\/t.co\\/x",
        "signal", "東京",       "naïve", "window", "\\\"quote\\\""};
    std::string text;
    for (unsigned i = 0; i < count; ++i)
        text.append(i == 0 ? "" : " ").append(kWords[random() % std::size(kWords)]);
    return text;
}

std::string searchResults() {
    Random random(1);
    std::string text = "{\"statuses\":[";
    for (int i = 0; i < 400; ++i) {
        const std::string id = std::to_string(505874924000000000 + random());
        text += (i == 0 ? "" : ",\n") + std::string("{\"metadata\":{\"result_type\":\"recent\"}");
        text += ",\"created_at\":\"Sun Aug 31 00:29:15 +0000 2014\",\"id\":" + id;
        text += ",\"text\":" + quoted(words(random, 18)) + ",\"in_reply_to_status_id\":null";
        text += ",\"user\":{\"name\":" + quoted(words(random, 2));
        text += ",\"profile_background_image_url_https\":" + quoted(words(random, 3));
        text += ",\"profile_sidebar_border_color\":\"C0DEED\",\"followers_count\":";
        text += std::to_string(random() % 10000) + ",\"profile_use_background_image\":true";
        text += ",\"default_profile_image\":false,\"description\":" + quoted(words(random, 12));
        text +=
            "},\"entities\":{\"hashtags\":[],\"urls\":[],\"user_mentions\":[{\"indices\":[3,14]}]}";
        text += ",\"retweet_count\":0,\"favorited\":false,\"lang\":\"ja\"}";
    }
    return text + "]}";
}

std::string catalogue() {
    Random random(2);
    std::string text = "{\"areaNames\":{";
    for (int i = 0; i < 200; ++i)
        text.append(i == 0 ? "" : ",\n").append(quoted(std::to_string(205705993 + i))) +=
            ": \"Balcon\"";
    text += "},\n\"performances\":[";
    for (int i = 0; i < 2500; ++i) {
        text += (i == 0 ? "" : ",") + std::string("\n    {\n        \"eventId\": ");
        text += std::to_string(random() % 1000000000) + ",\n        \"logo\": null,\n";
        text += "        \"prices\": [";
        for (int p = 0; p < 4; ++p) {
            text +=
                (p == 0 ? "" : ",") + std::string("\n            {\n                \"amount\": ");
            text += std::to_string(random() % 100000) + ",\n                \"seatCategoryId\": ";
            text += std::to_string(random() % 1000000000) + "\n            }";
        }
        text += "\n        ],\n        \"seatMapImage\": null,\n        \"venueCode\": ";
        text += "\"PLEYEL_PLEYEL\"\n    }";
    }
    return text + "\n]}";
}

std::string coordinates() {
    Random random(3);
    std::uniform_real_distribution<double> degrees(-180, 180);
    std::string text = "{\"type\":\"Polygon\",\"coordinates\":[";
    for (int ring = 0; ring < 480; ++ring) {
        text += ring == 0 ? "[" : ",\n[";
        for (int i = 0; i < 116; ++i) {
            char point[64];
            std::snprintf(point, sizeof point, "%s[%.15f,%.15f]", i == 0 ? "" : ",",
                          degrees(random), degrees(random));
            text += point;
        }
        text += "]";
    }
    return text + "]}";
}

std::string message() {
    return R"({"jsonrpc":"2.0","id":4711,"method":"contact.update","params":{"name":"Ann Example",)"
           R"("phones":["+49 20 484 99 34","+81 79 154 85 15"],"active":true,"score":12.5}})";
}

std::string hundredContacts() {
    Random random(4);
    std::string text = "[";
    for (int i = 0; i < 100; ++i) {
        text += (i == 0 ? "" : ",") + std::string("{\"id\":") + std::to_string(random() % 1000000);
        text += ",\"name\":" + quoted("Ann Example " + std::to_string(i)) + ",\"phones\":[";
        for (unsigned phone = 0, n = random() % 4; phone < n; ++phone)
            text += (phone == 0 ? "" : ",") + quoted("+49 20 " + std::to_string(random()));
        text += std::string("],\"active\":") + (random() % 2 == 0 ? "true" : "false");
        text += ",\"score\":" + std::to_string(random() % 1000) + "." +
                std::to_string(random() % 100) + "}";
    }
    return text + "]";
}

std::string fileOr(const char* name, std::string (*makeUp)()) {
    const char* directory = std::getenv("QOR_BENCH_JSON");
#ifdef QOR_BENCH_JSON
    if (directory == nullptr) directory = QOR_BENCH_JSON;
#endif
    if (directory != nullptr) {
        std::ifstream file(std::string(directory) + "/" + name, std::ios::binary);
        std::string text{std::istreambuf_iterator<char>(file), {}};
        if (!text.empty()) return text;
    }
    return makeUp();
}

}  // namespace

const Document& document(std::size_t index) {
    static const Document documents[kDocuments] = {
        {"twitter", fileOr("twitter.json", searchResults)},
        {"catalogue", fileOr("citm_catalog.json", catalogue)},
        {"coordinates", fileOr("canada.json", coordinates)},
        {"message", message()},
    };
    return documents[index];
}

const std::string& contacts() {
    static const std::string text = hundredContacts();
    return text;
}

std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

}  // namespace bench
