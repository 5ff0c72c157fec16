// Writes the seeds of the fuzz targets: the frames of the tests, whole, cut and behind noise. The
// first byte of each is the size of a read (0: all at once).
#include "wire/FrameWriter.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

bool writeSeed(const QDir& folder, const QByteArray& bytes)
{
    static int count = 0;
    QFile file(folder.filePath(QStringLiteral("seed-%1").arg(++count, 3, 10, QLatin1Char('0'))));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QList<QByteArray> frames()
{
    QByteArray tooMuchJson = ky::buildFrame(12000, 7, "{\"a\":1}", "data");
    tooMuchJson[13] = '\x7F';
    QByteArray huge = ky::buildFrame(12000, 7, {}, {});
    huge.replace(4, 4, QByteArray(4, '\xFF'));
    return {
        ky::buildFrame(12000, 7, {}, {}),
        ky::buildFrame(12000, 7, {}, "data"),
        ky::buildFrame(12000, 7, "{\"a\":1}", {}),
        ky::buildFrame(12000, 7, "{\"a\":[1,2]}", "data"),
        ky::buildFrame(12000, 7, {}, "{\"ret_code\":40013,\"err_msg\":\"no\",\"create_on\":\"x\"}"),
        ky::buildFrame(12000, 7, {}, "{\"ret_code\":61001,\"err_msg\":\"%1 %2\"}"),
        ky::buildFrame(15125, 7, {}, "{\"text\":\"hello\"}"),
        ky::buildFrame(11100, 7, {}, QByteArray(300, 'x')),
        ky::buildFrame(15101, 7, {}, QByteArray("a\0b", 3)),
        ky::buildFrame(5104, 7, "{\"name\":\"file\"}", QByteArray(200, 'f')),
        ky::buildFrame(12000, 7, {}, ky::buildFrame(12000, 8, {}, "inner")),
        ky::buildFrame(2000, 7, "{", "not JSON"),
        tooMuchJson,
        huge,
        "noise",
        QByteArray("\x5A", 1),
        QByteArray("\x5A\x01\x5A\x02\0\0", 6),
    };
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_fuzz_seeds FOLDER\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    bool isOk = folder.mkpath(QStringLiteral("."));
    for (const QByteArray& frame : frames()) {
        for (const char step : {'\0', '\1', '\7', '\21'}) {
            isOk &= writeSeed(folder, step + frame);
            isOk &= writeSeed(folder, step + ("ab" + frame) + frame);
            isOk &= writeSeed(folder, step + frame + frame.left(frame.size() / 2));
        }
    }
    return isOk ? 0 : 1;
}
