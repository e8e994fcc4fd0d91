#include "media/devices/devicelookup.h"

#include <QCryptographicHash>
#include <QRegularExpression>

#include <algorithm>
#include <utility>
#include <vector>

namespace media::devices {

namespace {

constexpr double kTagScore = 1.0;
constexpr double kNameWeight = 0.9;

qsizetype editDistance(const QString& a, const QString& b)
{
    const auto width = static_cast<std::size_t>(b.size()) + 1;
    std::vector<qsizetype> previous(width);
    std::vector<qsizetype> current(width);
    for (std::size_t j = 0; j < width; ++j)
        previous[j] = static_cast<qsizetype>(j);
    for (qsizetype i = 0; i < a.size(); ++i) {
        current[0] = i + 1;
        for (std::size_t j = 1; j < width; ++j) {
            const bool same = a[i] == b[static_cast<qsizetype>(j) - 1];
            const qsizetype substituted = previous[j - 1] + (same ? 0 : 1);
            current[j] = std::min({previous[j] + 1, current[j - 1] + 1, substituted});
        }
        std::swap(previous, current);
    }
    return previous.back();
}

qsizetype findById(const QList<DeviceEntry>& devices, const QByteArray& hexId)
{
    for (qsizetype i = 0; i < devices.size(); ++i) {
        if (devices[i].id.toHex() == hexId)
            return i;
    }
    return -1;
}

qsizetype findByName(const QList<DeviceEntry>& devices, const QString& key, double threshold)
{
    qsizetype best = -1;
    double bestScore = 0.0;
    for (qsizetype i = 0; i < devices.size(); ++i) {
        const double score = matchScore(key, devices[i].description, threshold);
        if (score > bestScore) {
            best = i;
            bestScore = score;
        }
    }
    return best;
}

} // namespace

QString hardwareTag(const QString& text)
{
    static const QRegularExpression inParentheses(QStringLiteral("\\(([0-9a-f]{4}:[0-9a-f]{4})\\)"),
                                                  QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression alone(QStringLiteral("^([0-9a-f]{4}:[0-9a-f]{4})$"),
                                          QRegularExpression::CaseInsensitiveOption);
    QRegularExpressionMatch match = inParentheses.match(text);
    if (!match.hasMatch())
        match = alone.match(text.trimmed());
    return match.captured(1).toLower();
}

double textSimilarity(const QString& a, const QString& b)
{
    if (a.isEmpty() && b.isEmpty())
        return 1.0;
    if (a.isEmpty() || b.isEmpty())
        return 0.0;
    const auto longer = static_cast<double>(std::max(a.size(), b.size()));
    return 1.0 - static_cast<double>(editDistance(a, b)) / longer;
}

double matchScore(const QString& key, const QString& description, double threshold)
{
    const QString wanted = key.toLower();
    const QString offered = description.toLower();
    const QString tag = hardwareTag(wanted);
    if (!tag.isEmpty() && tag == hardwareTag(offered))
        return kTagScore;
    const double similarity = textSimilarity(wanted, offered);
    return similarity >= threshold ? similarity * kNameWeight : 0.0;
}

qsizetype findDevice(const QList<DeviceEntry>& devices, const QString& key, double threshold)
{
    if (devices.isEmpty() || key.isEmpty())
        return -1;
    const qsizetype exact = findById(devices, key.toLatin1());
    return exact >= 0 ? exact : findByName(devices, key, threshold);
}

QString listSignature(const QStringList& descriptions)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const QString& description : descriptions)
        hash.addData(description.toUtf8());
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace media::devices
