#include "damages.h"

#include <QRandomGenerator>

#include <algorithm>

namespace {

QByteArray withFlips(QByteArray bytes, qsizetype begin, qsizetype end, int flips, quint32 seed)
{
    QRandomGenerator random(seed);
    for (int flip = 0; flip < flips; ++flip) {
        const auto place =
            begin + random.bounded(static_cast<int>(std::min(end, bytes.size()) - begin));
        bytes[place] = static_cast<char>(bytes[place] ^ (1 + random.bounded(255)));
    }
    return bytes;
}

QByteArray overwritten(QByteArray bytes, qsizetype begin, const QByteArray& with)
{
    const qsizetype size = std::min(with.size(), bytes.size() - begin);
    return bytes.replace(begin, size, with.left(size));
}

} // namespace

QByteArray noiseBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = static_cast<char>(random.bounded(256));
    return bytes;
}

QList<Damage> damages()
{
    QList<Damage> all;
    for (const int permille : {1, 10, 100, 500, 900, 999}) {
        all.append({"cut to " + QByteArray::number(permille) + " per mille",
                    [=](const QByteArray& b) { return b.left(b.size() * permille / 1000); }});
    }
    for (const int bytes : {1, 4, 12, 44, 100}) {
        all.append({"cut to " + QByteArray::number(bytes) + " bytes",
                    [=](const QByteArray& b) { return b.left(bytes); }});
    }
    all.append({"first 100 bytes missing", [](const QByteArray& b) { return b.mid(100); }});
    for (quint32 seed = 1; seed <= 4; ++seed) {
        const QByteArray number = QByteArray::number(seed);
        all.append({"3 bytes flipped in the header, " + number,
                    [=](const QByteArray& b) { return withFlips(b, 0, 64, 3, seed); }});
        all.append({"20 bytes flipped anywhere, " + number,
                    [=](const QByteArray& b) { return withFlips(b, 0, b.size(), 20, seed); }});
        all.append({"200 bytes flipped after the header, " + number,
                    [=](const QByteArray& b) { return withFlips(b, 64, b.size(), 200, seed); }});
    }
    all.append({"header of zeros",
                [](const QByteArray& b) { return overwritten(b, 0, QByteArray(64, '\0')); }});
    all.append({"sizes of all ones",
                [](const QByteArray& b) { return overwritten(b, 4, QByteArray(4, '\xFF')); }});
    all.append({"noise inside", [](const QByteArray& b) {
                    return overwritten(b, b.size() / 3, noiseBytes(4000, 5));
                }});
    all.append({"zeros inside", [](const QByteArray& b) {
                    return overwritten(b, b.size() / 3, QByteArray(4000, '\0'));
                }});
    all.append({"noise at the end", [](const QByteArray& b) { return b + noiseBytes(20000, 6); }});
    return all;
}
