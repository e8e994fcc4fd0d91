#include "support/contrast.h"

#include <algorithm>
#include <cmath>

namespace {

double linear(quint32 channel)
{
    const double value = channel / 255.0;
    return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double luminance(quint32 colour)
{
    return 0.2126 * linear((colour >> 16) & 0xff) + 0.7152 * linear((colour >> 8) & 0xff) +
           0.0722 * linear(colour & 0xff);
}

} // namespace

double contrast(quint32 first, quint32 second)
{
    const double a = luminance(first) + 0.05;
    const double b = luminance(second) + 0.05;
    return std::max(a, b) / std::min(a, b);
}
