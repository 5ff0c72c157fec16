#include "support/JsonReading.h"

#include "support/JsonLibrary.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <charconv>
#include <cmath>
#include <vector>

namespace ky {

namespace {

constexpr int kMaxText = 1024 * 1024;
constexpr size_t kMaxDepth = 256;

using Size = rapidjson::SizeType;

/// Takes what the reader finds. Each function returns false where QJsonDocument is to decide.
class VariantBuilder
{
public:
    QVariant result;

    bool Null() { return add(QVariant::fromValue(nullptr)); }
    bool Bool(bool value) { return add(value); }
    /// Numbers come as texts, since the last digit of a double depends on who converts it.
    bool RawNumber(const char* text, Size length, bool)
    {
        qlonglong whole = 0;
        const auto read = std::from_chars(text, text + length, whole);
        if (read.ec == std::errc() && read.ptr == text + length)
            return add(whole);
        bool isNumber = false;
        const double value = QByteArray(text, int(length)).toDouble(&isNumber);
        return isNumber && addDouble(value);
    }
    // Never called: see RawNumber().
    bool Int(int) { return false; }
    bool Uint(unsigned) { return false; }
    bool Int64(int64_t) { return false; }
    bool Uint64(uint64_t) { return false; }
    bool Double(double) { return false; }
    bool String(const char* text, Size length, bool)
    {
        const QString string = QString::fromUtf8(text, int(length));
        return isPlain(string, text) && add(string);
    }
    bool Key(const char* text, Size length, bool)
    {
        QString& key = _open.back().key;
        key = QString::fromUtf8(text, int(length));
        return isPlain(key, text);
    }
    bool StartObject() { return start(true); }
    bool EndObject(Size)
    {
        const QVariant map = _open.back().map;
        _open.pop_back();
        return add(map);
    }
    bool StartArray() { return start(false); }
    bool EndArray(Size)
    {
        const QVariant list = _open.back().list;
        _open.pop_back();
        return add(list);
    }

private:
    struct Container
    {
        bool isMap = false;
        QVariantMap map;
        QVariantList list;
        QString key;
    };

    /// An escaped lone surrogate has no UTF-8, and what becomes of a byte order mark in front
    /// depends on how it is written.
    static bool isPlain(const QString& string, const char* text)
    {
        return !string.contains(QChar::ReplacementCharacter) &&
               qstrncmp(text, "\xEF\xBB\xBF", 3) != 0;
    }
    /// Whole numbers are integers, however they are written. Beyond 2^53 the other reader is asked.
    bool addDouble(double value)
    {
        constexpr double kMostWhole = 9007199254740992.0;
        if (value != std::floor(value))
            return add(value);
        return std::abs(value) <= kMostWhole && add(qlonglong(value));
    }
    bool start(bool isMap)
    {
        if (_open.size() >= kMaxDepth)
            return false;
        _open.push_back({isMap, {}, {}, {}});
        return true;
    }
    bool add(const QVariant& value)
    {
        if (_open.empty()) {
            result = value;
            return true;
        }
        Container& container = _open.back();
        if (!container.isMap) {
            container.list.append(value);
            return true;
        }
        container.map.insert(container.map.constEnd(), container.key, value);
        return true;
    }

    std::vector<Container> _open;
};

} // namespace

std::optional<QVariant> readPlainJson(const QByteArray& text)
{
    if (text.size() > kMaxText || !(text.startsWith('{') || text.startsWith('[')))
        return {};
    try {
        rapidjson::MemoryStream stream(text.constData(), size_t(text.size()));
        JsonMemory memory;
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader(&memory);
        VariantBuilder builder;
        constexpr unsigned kFlags =
            rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag;
        // A zero byte reads as the end: what is behind it is for the other reader to refuse.
        if (reader.Parse<kFlags>(stream, builder) && stream.Tell() == size_t(text.size()))
            return builder.result;
    } catch (const JsonLibraryError&) {
        return {};
    }
    return {};
}

} // namespace ky
