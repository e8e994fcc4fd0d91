#include "reference_filterbank.h"

#include "project/kernelclones.h"

#include <cmath>
#include <numbers>

namespace reference {

namespace {

// Two of the widest registers for each part: enough to hide the latency, and all
// that fits.
constexpr std::size_t kTile = 16;

} // namespace

void prepareFilterBank(FilterBank& bank, double rateHz)
{
    for (std::size_t k = 0; k < kFilterBankBands; ++k) {
        const double hz = 20.0 * std::pow(1000.0, static_cast<double>(k) / 255.0);
        const double alpha = 1.0 - std::exp(-hz / rateHz / std::log(hz + 1.0));
        const double angle = -2.0 * std::numbers::pi * hz / rateHz;
        bank.first[k] = static_cast<float>(alpha);
        bank.second[k] = static_cast<float>(alpha / 2);
        bank.cosine[k] = static_cast<float>(std::cos(angle));
        bank.sine[k] = static_cast<float>(std::sin(angle));
        bank.phasorReal[k] = 1;
    }
}

VELA_KERNEL_CLONES void runFilterBank(FilterBank& bank, const float* samples, std::size_t count)
{
    for (std::size_t base = 0; base < kFilterBankBands; base += kTile) {
        float part[6][kTile];
        for (std::size_t j = 0; j < kTile; ++j) {
            part[0][j] = bank.phasorReal[base + j];
            part[1][j] = bank.phasorImaginary[base + j];
            part[2][j] = bank.firstReal[base + j];
            part[3][j] = bank.firstImaginary[base + j];
            part[4][j] = bank.secondReal[base + j];
            part[5][j] = bank.secondImaginary[base + j];
        }
        for (std::size_t i = 0; i < count; ++i) {
            const float x = samples[i];
            for (std::size_t j = 0; j < kTile; ++j) {
                const float alpha = bank.first[base + j];
                const float beta = bank.second[base + j];
                const float cosine = bank.cosine[base + j];
                const float sine = bank.sine[base + j];
                const float real = part[0][j];
                const float imaginary = part[1][j];
                part[2][j] += alpha * (x * real - part[2][j]);
                part[3][j] += alpha * (x * imaginary - part[3][j]);
                part[4][j] += beta * (part[2][j] - part[4][j]);
                part[5][j] += beta * (part[3][j] - part[5][j]);
                part[0][j] = real * cosine - imaginary * sine;
                part[1][j] = real * sine + imaginary * cosine;
            }
        }
        for (std::size_t j = 0; j < kTile; ++j) {
            bank.phasorReal[base + j] = part[0][j];
            bank.phasorImaginary[base + j] = part[1][j];
            bank.firstReal[base + j] = part[2][j];
            bank.firstImaginary[base + j] = part[3][j];
            bank.secondReal[base + j] = part[4][j];
            bank.secondImaginary[base + j] = part[5][j];
        }
    }
}

} // namespace reference
