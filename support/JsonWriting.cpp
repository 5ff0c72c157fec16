#include "support/JsonWriting.h"

#include "support/JsonLibrary.h"

#include <QLocale>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>

namespace ky {

namespace {

constexpr int kMaxDepth = 256;
constexpr int kMaxString = 64 * 1024; ///< the writer sets aside six bytes for each character
constexpr size_t kMaxText = 64 * 1024 * 1024;
constexpr qlonglong kMostWhole = 9007199254740992; ///< up to here each whole number is a double

using Source = rapidjson::UTF16<ushort>;
using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
using Writer = rapidjson::Writer<Buffer, Source, rapidjson::UTF8<>, JsonMemory>;

/// QString::utf16() would copy a text that is not its own, in an object that others may share.
const ushort* unitsOf(const QString& text)
{
    return reinterpret_cast<const ushort*>(text.constData());
}

/// Whether both writers show a text alike: surrogates in pairs, and no control character that is
/// written with a hexadecimal letter, which is a small one here and a capital there.
bool isPlain(const QString& text)
{
    const ushort* c = unitsOf(text);
    const ushort* const end = c + text.size();
    for (; c < end; ++c) {
        const bool hasName = *c == '\n' || *c == '\f' || *c == '\r';
        if (*c < 0x20 && (*c & 0xF) > 9 && !hasName)
            return false;
        if (!QChar::isSurrogate(*c))
            continue;
        if (!QChar::isHighSurrogate(*c) || c + 1 == end || !QChar::isLowSurrogate(c[1]))
            return false;
        ++c;
    }
    return text.size() <= kMaxString;
}

/// Each function returns false where QJsonDocument is to write the whole.
class Composer
{
public:
    explicit Composer(Buffer& buffer)
        : _buffer(buffer)
        , _writer(buffer)
    {}

    bool writeMap(const QVariantMap& map)
    {
        if (++_depth > kMaxDepth)
            return false;
        _writer.StartObject();
        for (auto entry = map.constBegin(); entry != map.constEnd(); ++entry) {
            const bool isRepeated =
                entry != map.constBegin() && std::prev(entry).key() == entry.key();
            if (isRepeated || !isPlain(entry.key()))
                return false;
            _writer.Key(unitsOf(entry.key()), rapidjson::SizeType(entry.key().size()));
            if (!write(*entry))
                return false;
        }
        --_depth;
        return _writer.EndObject();
    }

    bool writeList(const QVariantList& list)
    {
        if (++_depth > kMaxDepth)
            return false;
        _writer.StartArray();
        for (const QVariant& value : list) {
            if (!write(value))
                return false;
        }
        --_depth;
        return _writer.EndArray();
    }

private:
    bool write(const QVariant& value)
    {
        if (_buffer.GetSize() > kMaxText)
            return false;
        switch (value.userType()) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            return _writer.Null();
        case QMetaType::Bool:
            return _writer.Bool(value.toBool());
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
            return writeWhole(value.toLongLong());
        case QMetaType::Double:
            return writeDouble(value.toDouble());
        case QMetaType::QString:
            return writeText(*static_cast<const QString*>(value.constData()));
        case QMetaType::QByteArray:
            return writeBytes(*static_cast<const QByteArray*>(value.constData()));
        case QMetaType::QVariantMap:
            return writeMap(*static_cast<const QVariantMap*>(value.constData()));
        case QMetaType::QVariantList:
            return writeList(*static_cast<const QVariantList*>(value.constData()));
        default:
            return false;
        }
    }

    bool writeWhole(qlonglong value)
    {
        return value <= kMostWhole && value >= -kMostWhole && _writer.Int64(value);
    }

    bool writeDouble(double value)
    {
        if (!std::isfinite(value))
            return _writer.Null();
        if (value == std::floor(value))
            return std::abs(value) <= double(kMostWhole) && writeWhole(qlonglong(value));
        const QString digits = QString::number(value, 'g', QLocale::FloatingPointShortest);
        return _writer.RawValue(unitsOf(digits), size_t(digits.size()), rapidjson::kNumberType);
    }

    bool writeText(const QString& text)
    {
        return isPlain(text) && _writer.String(unitsOf(text), rapidjson::SizeType(text.size()));
    }

    /// Bytes are a text, zero bytes included, or null where there are none.
    bool writeBytes(const QByteArray& bytes)
    {
        const int size = bytes.size();
        if (size <= 0)
            return _writer.Null();
        const QString text = QString::fromUtf8(bytes.constData(), size);
        return text.isEmpty() ? _writer.Null() : writeText(text);
    }

    Buffer& _buffer;
    Writer _writer;
    int _depth = 0;
};

} // namespace

QByteArray writePlainJson(const QVariant& value)
{
    try {
        Buffer buffer;
        Composer composer(buffer);
        bool isWritten = false;
        if (value.userType() == QMetaType::QVariantMap)
            isWritten = composer.writeMap(*static_cast<const QVariantMap*>(value.constData()));
        else if (value.userType() == QMetaType::QVariantList)
            isWritten = composer.writeList(*static_cast<const QVariantList*>(value.constData()));
        if (isWritten)
            return {buffer.GetString(), int(buffer.GetSize())};
    } catch (const JsonLibraryError&) {
        return {};
    }
    return {};
}

} // namespace ky
