#pragma once

#include "wire/FrameWriter.h"

#include <random>

/// Random streams of frames and noise, the same ones for the same seed.
class StreamMaker
{
public:
    StreamMaker(unsigned seed, bool hasUploads)
        : _random(seed)
        , _hasUploads(hasUploads)
    {}

    /// From 0 to limit - 1.
    int below(int limit) { return int(_random() % unsigned(limit)); }

    QByteArray stream()
    {
        QByteArray bytes;
        const int pieces = 1 + below(8);
        for (int i = 0; i < pieces; ++i)
            bytes += below(4) == 0 ? noise() : frame();
        return bytes;
    }

private:
    /// Noise that likes the bytes of a header.
    QByteArray noise()
    {
        static const char likely[] = {'\x5a', '\x01', '\0', '\x10', 'n'};
        QByteArray bytes;
        for (int i = below(40); i > 0; --i)
            bytes += likely[below(int(sizeof likely))];
        return bytes;
    }

    QByteArray frame()
    {
        static const QByteArray jsons[] = {{}, "{}", "[1,2]", "{\"a\":\"b\"}", "broken{"};
        QByteArray data;
        for (int i = below(3) == 0 ? 0 : below(60); i > 0; --i)
            data += below(3) == 0 ? '\x5a' : char(below(3));
        const int type = _hasUploads && below(3) == 0 ? 5104 : 2000 + below(3000);
        QByteArray frame =
            ky::buildFrame(quint16(type), quint16(below(65536)), jsons[below(5)], data);
        if (below(10) == 0)
            frame[12] = char(below(2)); // jsonSize far over dataSize
        if (below(20) == 0)
            frame[7] = char(below(256)); // announces another size
        return frame;
    }

    std::mt19937 _random;
    bool _hasUploads;
};
