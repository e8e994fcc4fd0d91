#pragma once

#include <cstddef>

namespace reference {

constexpr std::size_t kFilterBankBands = 256;

/// State of a two-stage bank of complex one-pole filters, a part to an array.
struct alignas(64) FilterBank {
    float first[kFilterBankBands] = {};  ///< smoothing of the first stage
    float second[kFilterBankBands] = {}; ///< and of the second
    float cosine[kFilterBankBands] = {};
    float sine[kFilterBankBands] = {};
    float phasorReal[kFilterBankBands] = {};
    float phasorImaginary[kFilterBankBands] = {};
    float firstReal[kFilterBankBands] = {};
    float firstImaginary[kFilterBankBands] = {};
    float secondReal[kFilterBankBands] = {};
    float secondImaginary[kFilterBankBands] = {};
};

/// Sets bands from 20 Hz to 20 kHz for `rateHz`, at rest.
void prepareFilterBank(FilterBank& bank, double rateHz);

/// The arithmetic of the bank and nothing else: no check of the samples, no
/// renormalising, no counting. Vectorised over bands, whose state stays in
/// registers for the whole block.
void runFilterBank(FilterBank& bank, const float* samples, std::size_t count);

} // namespace reference
