#pragma once

#include <QByteArray>
#include <QtEndian>

/// The answer that both Qt servers compose, so that they differ in what is measured only.
inline QByteArray answerFrame(quint16 type, quint16 number, const QByteArray& json,
                              const QByteArray& data)
{
    QByteArray bytes;
    bytes.reserve(16 + json.size() + data.size());
    bytes.fill(0, 16);
    char* header = bytes.data();
    header[0] = 0x5A;
    header[1] = 0x01;
    qToBigEndian(number, header + 2);
    qToBigEndian(quint32(json.size() + data.size()), header + 4);
    qToBigEndian(type, header + 8);
    qToBigEndian(quint16(type - 10000), header + 10);
    qToBigEndian(quint16(json.size()), header + 12);
    header[15] = 2;
    return bytes.append(json).append(data);
}
