#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QList>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>

/// The input of a fuzz target: its first byte says how the rest is cut into reads, so that the
/// fuzzer finds its own cuts.
inline QList<QByteArray> fuzzReads(const uint8_t* data, size_t size)
{
    QList<QByteArray> reads;
    if (size == 0)
        return reads;
    const int step = data[0] == 0 ? int(size) : data[0];
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, int(size) - 1);
    for (int at = 0; at < bytes.size(); at += step)
        reads += bytes.mid(at, step);
    return reads;
}

/// Once for the process: an application for sockets, and lines made but not printed, so that
/// making them is fuzzed as well.
inline void fuzzSetUp()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
    static const auto previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    Q_UNUSED(previous)
}
