#pragma once

/// Marks an inner loop to be compiled twice, plainly and for x86-64-v3 (AVX2);
/// the loader picks. Worth it only for loops that the compiler vectorises.
/// Sanitizers cannot instrument the resolver that runs before they start, and
/// Clang of this generation does not know the attribute.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) &&                             \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define VELA_KERNEL_CLONES                                                                         \
    __attribute__((target_clones("default", "arch=x86-64-v3"), optimize("O3"), noinline))
#else
#define VELA_KERNEL_CLONES
#endif
