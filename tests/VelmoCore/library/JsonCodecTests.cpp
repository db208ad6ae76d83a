#include "library/JsonCoding.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

qsizetype errorOffset(const QByteArray& text)
{
    try {
        JsonDocument::parse(text);
    } catch (const JsonParseError& error) {
        return error.offset();
    }
    return -1;
}

} // namespace

TEST(JsonReader, ReadsEveryEscapeAndTheLastOfDuplicateKeysWins)
{
    const JsonDocument document = JsonDocument::parse(
        R"({"plain":"Motörhead","escaped":"a\"b\\c\/d\b\f\n\r\t","unicode":"\u00e9\ud83c\udfb5","lone":"x\ud800y",)"
        R"("a":1,"a":2,"\u0062":3, "n": null})");
    const JsonObject object = *document.root().toObject();
    EXPECT_EQ(object.value("plain"_L1)->toString(), u"Motörhead"_s);
    EXPECT_EQ(object.value("escaped"_L1)->toString(), u"a\"b\\c/d\b\f\n\r\t"_s);
    EXPECT_EQ(object.value("unicode"_L1)->toString(), u"é🎵"_s);
    EXPECT_EQ(object.value("lone"_L1)->toString(), u"x\uFFFDy"_s);
    EXPECT_EQ(object.value("a"_L1)->toInteger(), 2);
    EXPECT_EQ(object.value("b"_L1)->toInteger(), 3) << "escaped keys match";
    EXPECT_TRUE(object.value("n"_L1)->isNull());
    EXPECT_FALSE(object.contains("c"_L1));
    EXPECT_EQ(Json::optional(object, "n"_L1), std::nullopt) << "null is an absent optional";
}

TEST(JsonReader, NumbersKeepTheirPrecision)
{
    const JsonDocument document = JsonDocument::parse(
        R"([9007199254740993, -0, 3.0, 1e2, 0.1, 752112345.123456, 3.5, 1e400, -12])");
    const JsonArray numbers = *document.root().toArray();
    EXPECT_EQ(numbers.at(0).toInteger(), 9007199254740993LL) << "beyond a double's exact range";
    EXPECT_EQ(numbers.at(1).toInteger(), 0);
    EXPECT_EQ(numbers.at(2).toInteger(), 3);
    EXPECT_EQ(numbers.at(3).toInteger(), 100);
    EXPECT_EQ(numbers.at(5).toDouble(), 752112345.123456);
    EXPECT_EQ(numbers.at(6).toInteger(), std::nullopt);
    EXPECT_EQ(numbers.at(7).toDouble(), std::numeric_limits<double>::infinity());
    EXPECT_EQ(numbers.at(8).toInteger(), -12);
    EXPECT_EQ(numbers.at(0).toString(), std::nullopt) << "no conversion between types";
}

TEST(JsonReader, RejectsWhatIsNotJsonAndSaysWhere)
{
    EXPECT_EQ(errorOffset(R"([1,2,])"), 5);
    EXPECT_EQ(errorOffset(R"(["abc)"), 5);
    EXPECT_EQ(errorOffset("[\"a\tb\"]"), 3) << "raw control characters";
    EXPECT_EQ(errorOffset(R"(["\x"])"), 3);
    EXPECT_EQ(errorOffset(R"(["\u12"])"), 6);
    EXPECT_EQ(errorOffset(R"([01])"), 2);
    EXPECT_EQ(errorOffset(R"([NaN])"), 1);
    EXPECT_EQ(errorOffset(R"([1.])"), 3);
    EXPECT_EQ(errorOffset(R"({"a" 1})"), 5);
    EXPECT_EQ(errorOffset(R"([1] [2])"), 4);
    EXPECT_EQ(errorOffset(""), 0);
    EXPECT_EQ(errorOffset("[tru]"), 4);
    EXPECT_GE(errorOffset(QByteArray(100000, '[')), 0) << "deep nesting fails instead of overflowing";
    EXPECT_EQ(errorOffset("\xEF\xBB\xBF[1]"), -1) << "a byte-order mark is tolerated";
    EXPECT_EQ(errorOffset(" \n[ {\"k\" : [ ] } ]\t"), -1);
}

TEST(JsonWriter, WritesCompactStandardJsonEvenFromNonFiniteNumbersAndLoneSurrogates)
{
    JsonWriter writer;
    writer.beginObject();
    writer.field("text"_L1, u"Tab\there \"quoted\" / back\\slash \u0001 ünï 🎵"_s);
    writer.field("whole"_L1, qint64(-42));
    writer.field("fraction"_L1, 752112345.123456);
    writer.field("integral"_L1, 200.0);
    writer.field("flag"_L1, false);
    writer.field("lone"_L1, QString(QChar(0xD800)));
    writer.key("empty"_L1);
    writer.beginArray();
    writer.endArray();
    writer.key("nested"_L1);
    writer.beginArray();
    writer.value(std::numeric_limits<double>::quiet_NaN());
    writer.value(std::numeric_limits<double>::infinity());
    writer.beginObject();
    writer.endObject();
    writer.endArray();
    writer.endObject();
    EXPECT_EQ(writer.bytes(), QByteArray(R"({"text":"Tab\there \"quoted\" / back\\slash \u0001 ünï 🎵","whole":-42,)"
                                         R"("fraction":752112345.123456,"integral":200,"flag":false,)"
                                         "\"lone\":\"\xEF\xBF\xBD\","
                                         R"("empty":[],"nested":[0,0,{}]})"));

    QJsonParseError error;
    const QJsonObject qt = QJsonDocument::fromJson(writer.bytes(), &error).object();
    EXPECT_EQ(error.error, QJsonParseError::NoError);
    EXPECT_EQ(qt.value("text"_L1).toString(), u"Tab\there \"quoted\" / back\\slash \u0001 ünï 🎵"_s);
}

TEST(JsonCodec, WriterAndReaderAgreeOnEveryCharacter)
{
    QString all;
    for (char16_t c = 1; c < 0xD800; c += 7)
        all.append(QChar(c));
    all += u"😀𝄞"_s;
    JsonWriter writer;
    writer.value(all);
    const JsonDocument document = JsonDocument::parse(writer.take());
    EXPECT_EQ(document.root().toString(), all);
}
