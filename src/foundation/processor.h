// Processor facts: vendor, SIMD features and thread count read once at start
// by CPUID, and the two banner lines ("  : " cpu name, "  : " feature list).
#pragma once

#include <cstdint>

#include "foundation/text.h"

namespace corvane {

// Vendor codes as the banner and the thread default know them.
enum class VendorCode : int {
    Other = 0,            // "CPU "
    Amd = 10,             // "AMD "
    Intel = 20,           // "Intel "
    LikeAmdOrIntel = 30,  // "Like AMD or Intel ": other x86 makers
    Virtual = 90,         // "Virtual ": a known hypervisor
    PowerPc = 100,        // "PowerPC "
    Sparc = 200,          // "Sparc "
    Arm = 300,            // "ARM "
};

struct ProcessorFacts {
    VendorCode vendorCode = VendorCode::Other;  // what the banner names
    VendorCode makerCode = VendorCode::Other;   // from the leaf-0 string alone
    Text vendorWord = Text("CPU ");             // with its trailing blank
    ByteText vendorName;      // the 12-byte leaf-0 string, empty without CPUID
    ByteText hypervisorName;  // the 12-byte hypervisor string, empty without one
    bool hypervisor = false;
    bool instructionSetX86 = false;  // false: no CPUID, no SIMD test

    bool mmx = false, mmxExtensions = false;
    bool threeDNow = false, threeDNowExtensions = false, threeDNowPrefetch = false;
    bool sse = false, sse2 = false, sse3 = false, ssse3 = false;
    bool sse41 = false, sse4a = false, sse42 = false;
    bool avx = false, f16c = false, xop = false, fma = false;
    bool bmi1 = false, bmi2 = false, avx2 = false, adx = false;
    bool avx512f = false, avx512cd = false, avx512vl = false, avx512dq = false;
    bool avx512bw = false, avx512ifma = false, avx512vbmi = false, avx512vbmi2 = false;
    bool avx10 = false;
    int avx10Version = 0;  // 0 when leaf 0x24 is missing
    bool amx = false, amxInt8 = false, amxFp8 = false, amxBf16 = false;
    bool amxFp16 = false, amxTf32 = false, amxComplex = false;

    // Level numbers of the families, each present step overwriting the one
    // before; kept for reference, nothing reads them.
    double threeDNowLevel = 0;  // 1, extended 2, prefetch 3
    double sseLevel = 0;        // 1, 2, 3, SSSE3 3.5, 4a 4.1, 4.1 4.2, 4.2 4.3, with AVX 5
    double avxLevel = 0;        // 1, AVX2 1.2, AVX-512 5, AVX10 10 plus version/10

    int logicalCount = 1;  // per package; halved with hyper-threading unless the maker is AMD
    bool hyperThreading = false;
    int packages = 1;      // always 1 on this platform
    int threadCount = 1;   // packages * logicalCount, doubled with hyper-threading, at least 1
};

// One CPUID answer.
struct CpuidLeaf {
    std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

// The raw answers the identification reads. A leaf the processor lacks stays
// zero; processorFactsFromCpuid also ignores leaves above the reported maxima.
struct CpuidSnapshot {
    CpuidLeaf leaf0;          // eax highest basic leaf; vendor in ebx, edx, ecx
    CpuidLeaf leaf1;          // feature bits, logical count in ebx bits 16..23
    CpuidLeaf leaf7;          // subleaf 0; eax highest subleaf
    CpuidLeaf leaf7Sub1;      // subleaf 1
    CpuidLeaf leaf1E;         // subleaf 0; eax highest subleaf
    CpuidLeaf leaf1ESub1;     // subleaf 1: further tile features
    CpuidLeaf leaf24;         // subleaf 0: AVX10 version in ebx bits 0..7
    CpuidLeaf leaf40000000;   // hypervisor string in ebx, ecx, edx
    CpuidLeaf leaf80000000;   // eax highest extended leaf
    CpuidLeaf leaf80000001;   // AMD feature bits
};

// Pure derivation of the facts from the raw registers.
ProcessorFacts processorFactsFromCpuid(const CpuidSnapshot& registers);
// Facts of a processor without CPUID: vendor "CPU ", no features, the
// given number of hardware threads (0 counts as 1).
ProcessorFacts processorFactsFromThreadCount(unsigned hardwareThreads);
// Runs CPUID on this machine (x86 only) and derives the facts.
ProcessorFacts identifyProcessor();

// "mmx+ext, sse+2+3+s3+41+42, avx+..." or "No single instruction, multiple data".
Text featureLine(const ProcessorFacts& facts);
// "Intel cores 1*4+htt (8 threads)", "AMD cores 1*8 (8 threads)".
Text coreLine(const ProcessorFacts& facts);

// SSE2 is required on x86; a processor without CPUID passes.
bool hasRequiredSimd(const ProcessorFacts& facts);
// Printed by the caller when hasRequiredSimd fails, which then ends with code 1.
inline constexpr char missingSimdMessage[] = "Your CPU cannot process the SSE commands of this program!";  // verbatim

}  // namespace corvane
