// The JSON module: the writer's layout, byte strings that survive a round
// trip whatever they hold, and the reader's refusals.
#include <gtest/gtest.h>

#include "json_reader.h"
#include "json_writer.h"

using rfs_json::Value;

namespace {

std::string written(const std::function<void(rfs_json::Writer &)> &body) {
    std::string text;
    rfs_json::Writer w([&](std::string_view s) { text += s; });
    body(w);
    w.finish();
    return text;
}

} // namespace

TEST(Json, WriterLaysOutOneMemberALine) {
    std::string text = written([](rfs_json::Writer &w) {
        w.begin_object().field("disk", 0).field("ok", true).field("types", std::vector<std::string>{"a", "b"});
        w.key("none").null().key("empty").begin_array().end_array().field("big", UINT64_MAX).end_object();
    });
    EXPECT_EQ(text, "{\n  \"disk\": 0,\n  \"ok\": true,\n  \"types\": [\n    \"a\",\n    \"b\"\n  ],\n"
                    "  \"none\": null,\n  \"empty\": [],\n  \"big\": 18446744073709551615\n}\n");
    Value doc = Value::parse(text);
    EXPECT_EQ(doc.at("big").get<uint64_t>(), UINT64_MAX);
    EXPECT_EQ(doc.at("types")[1].str(), "b");
    EXPECT_THROW(written([](rfs_json::Writer &w) { w.begin_object().value(1); }), std::logic_error);
    EXPECT_THROW(written([](rfs_json::Writer &w) { w.begin_array(); }), std::logic_error);
}

TEST(Json, ByteStringsRoundTrip) {
    struct Case {
        std::string bytes;
        const char *quoted;
    } cases[] = {
        {"plain/name.img", "\"plain/name.img\""},
        {"tab\there \"q\" back\\slash\x01", "\"tab\\there \\\"q\\\" back\\\\slash\\u0001\""},
        {"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xa5", "\"caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xa5\""},
        {"latin1 caf\xe9", "\"latin1 caf\\udce9\""},
        {"\xff\xfe", "\"\\udcff\\udcfe\""},
        {"stray \x80", "\"stray \\udc80\""},
        {"overlong \xc0\xaf", "\"overlong \\udcc0\\udcaf\""},
        {"surrogate \xed\xa0\x80", "\"surrogate \\udced\\udca0\\udc80\""},
        {"cut \xe2\x82", "\"cut \\udce2\\udc82\""},
        {"above \xf4\x90\x80\x80", "\"above \\udcf4\\udc90\\udc80\\udc80\""},
        {std::string("nul\0byte", 8), "\"nul\\u0000byte\""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.quoted);
        EXPECT_EQ(rfs_json::quoted(c.bytes), c.quoted);
        EXPECT_EQ(Value::parse(c.quoted).str(), c.bytes);
    }
    EXPECT_EQ(Value::parse("\"\\ud83c\\udfa5 \\u00e9\\/\"").str(), "\xf0\x9f\x8e\xa5 \xc3\xa9/");
}

TEST(Json, ReaderRefusesWhatIsNotJsonOrDoesNotFit) {
    for (const char *text : {"", "[1,]", "{\"a\" 1}", "{\"a\":1,}", "01", "1 2", "\"\\ud800\"", "\"\\udc00\"",
                             "\"\\ud800\\u0041\"", "\"open", "\"bad \\q\"", "tru", "-", "1.", "1e", "\"\x01\""}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(Value::parse(text), rfs_json::Error);
    }
    EXPECT_THROW(Value::parse(std::string(10000, '[')), rfs_json::Error);
    Value doc = Value::parse(R"({"small": 255, "big": 256, "neg": -1, "frac": 1.5, "huge": 99999999999999999999,
                                "s": "x", "a": [true, false, null], "o": {}})");
    EXPECT_EQ(doc.at("small").get<uint8_t>(), 255);
    EXPECT_EQ(doc.at("neg").get<int>(), -1);
    EXPECT_EQ(doc.at("frac").number(), 1.5);
    EXPECT_TRUE(doc.at("a")[0].boolean());
    EXPECT_TRUE(doc.at("a")[2].is_null());
    EXPECT_EQ(doc.at("o").size(), 0u);
    EXPECT_FALSE(doc.contains("missing"));
    const std::vector<std::function<void()>> misuses = {
        [&] { doc.at("big").get<uint8_t>(); },  [&] { doc.at("neg").get<unsigned>(); },
        [&] { doc.at("frac").get<int>(); },     [&] { doc.at("huge").get<uint64_t>(); },
        [&] { doc.at("s").get<int>(); },        [&] { doc.at("small").str(); },
        [&] { doc.at("missing"); },             [&] { doc.at("a")[3]; },
        [&] { doc.at("s").items(); },           [&] { doc.at("a").at("x"); },
    };
    for (size_t i = 0; i < misuses.size(); ++i) EXPECT_THROW(misuses[i](), rfs_json::Error) << i;
}
