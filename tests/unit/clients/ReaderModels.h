#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <random>

/// What a reader of the byte stream has to make of it, said as slowly and plainly as possible:
/// one byte at a time, numbers put together by hand, nothing shared with the readers.
namespace model {

struct Event
{
    enum Kind
    {
        Loss,
        Frame
    };
    Kind kind = Loss;
    unsigned char lost = 0;
    int number = 0;
    int type = 0;
    int revCommand = 0;
    QByteArray head;
    QByteArray json;
    QByteArray data;
    int buffered = 0; ///< bytes from this frame's start to the end of what has come
};

class Reader
{
public:
    /// A strict reader wants the version behind the sync byte; a lax one only the sync byte. One
    /// that takes a single frame a time leaves the rest where it is.
    Reader(bool isStrict, bool takesOne)
        : _isStrict(isStrict)
        , _takesOne(takesOne)
    {}

    QList<Event> feed(const QByteArray& bytes)
    {
        for (const char byte : bytes)
            _held += byte;
        QList<Event> events;
        while (_held.size() > 0) {
            if (!isStart()) {
                Event loss;
                loss.lost = static_cast<unsigned char>(_held.at(0));
                events += loss;
                _held = _held.mid(1);
                continue;
            }
            if (_held.size() < 16)
                break;
            const long long body = number(4, 4);
            if (_held.size() < 16 + body)
                break;
            events += frame(int(body));
            _held = _held.mid(16 + int(body));
            if (_takesOne)
                break;
        }
        return events;
    }

    const QByteArray& held() const { return _held; }

private:
    bool isStart() const
    {
        if (static_cast<unsigned char>(_held.at(0)) != 0x5A)
            return false;
        if (!_isStrict)
            return true;
        return _held.size() > 1 && static_cast<unsigned char>(_held.at(1)) == 0x01;
    }

    long long number(int at, int bytes) const
    {
        long long value = 0;
        for (int i = 0; i < bytes; ++i)
            value = value * 256 + static_cast<unsigned char>(_held.at(at + i));
        return value;
    }

    Event frame(int body) const
    {
        Event event;
        event.kind = Event::Frame;
        event.number = int(number(2, 2));
        event.type = int(number(8, 2));
        event.revCommand = int(number(10, 2));
        event.head = _held.left(16);
        event.buffered = _held.size();
        const int json = int(number(12, 2));
        for (int i = 0; i < body; ++i)
            (i < json ? event.json : event.data) += _held.at(16 + i);
        return event;
    }

    bool _isStrict;
    bool _takesOne;
    QByteArray _held;
};

/// A random stream: valid frames, noise, noise that looks like a start, cut into random reads.
class Stream
{
public:
    /// With long frames some have bodies around 2000 bytes, and many reads bring several frames.
    explicit Stream(quint32 seed, bool hasLongFrames = false)
        : _random(seed)
        , _hasLongFrames(hasLongFrames)
    {}

    QList<QByteArray> reads()
    {
        QByteArray bytes;
        for (int pieces = 1 + upTo(6); pieces > 0; --pieces)
            bytes += piece();
        QList<QByteArray> reads;
        while (!bytes.isEmpty()) {
            const int size = _hasLongFrames ? 1 + upTo(4000)
                             : upTo(3) == 0 ? 1 + upTo(3)
                                            : 1 + upTo(60);
            reads += bytes.left(size);
            bytes = bytes.mid(size);
        }
        return reads;
    }

    int upTo(int most) { return int(_random() % unsigned(most + 1)); }

private:
    QByteArray piece()
    {
        switch (upTo(7)) {
        case 0:
            return noise(upTo(12));
        case 1:
            return QByteArray("\x5A", 1);
        case 2:
            return QByteArray("\x5A\x01", 2) + noise(upTo(4));
        case 3:
            return frame().left(upTo(20));
        default:
            return frame();
        }
    }

    QByteArray noise(int size)
    {
        // A small alphabet, so that starts and half starts come up often.
        static constexpr char kAlphabet[] = {'\x5A', '\x01', '\0', 'a', '\xC3', 'Z'};
        QByteArray bytes;
        for (int i = 0; i < size; ++i)
            bytes += kAlphabet[upTo(5)];
        return bytes;
    }

    QByteArray frame()
    {
        const bool isLong = _hasLongFrames && upTo(2) == 0;
        const int longest = isLong ? 1900 + upTo(200) : upTo(40);
        const QByteArray body = !isLong && upTo(3) == 0 ? QByteArray() : noise(longest);
        const int json = upTo(2) == 0 ? upTo(50) : 0;
        QByteArray bytes("\x5A\x01", 2);
        append(bytes, upTo(3), 2);
        append(bytes, body.size(), 4);
        append(bytes, 12000 + upTo(1), 2);
        append(bytes, 2000 + upTo(1), 2);
        append(bytes, json, 2);
        return bytes + QByteArray("\0\2", 2) + body;
    }

    static void append(QByteArray& bytes, int value, int size)
    {
        for (int i = size - 1; i >= 0; --i)
            bytes += char(value >> (8 * i));
    }

    std::mt19937 _random;
    bool _hasLongFrames;
};

} // namespace model
