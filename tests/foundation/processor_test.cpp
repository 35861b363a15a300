// Processor facts: vendor table, feature line, levels, core line and the SIMD
// check from synthetic CPUID registers, and one look at this machine.
#include "foundation/processor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace corvane {
namespace {

// Register bits as the processor manuals publish them.
constexpr std::uint32_t on(int position) { return std::uint32_t{1} << position; }

constexpr std::uint32_t mmxBit = on(23), sseBit = on(25), sse2Bit = on(26), httBit = on(28);  // leaf 1 EDX
constexpr std::uint32_t sse3Bit = on(0), ssse3Bit = on(9), fmaBit = on(12), sse41Bit = on(19),
                        sse42Bit = on(20), avxBit = on(28), f16cBit = on(29), hypervisorBit = on(31);  // leaf 1 ECX
constexpr std::uint32_t bmi1Bit = on(3), avx2Bit = on(5), bmi2Bit = on(8), avx512fBit = on(16),
                        avx512dqBit = on(17), adxBit = on(19), avx512ifmaBit = on(21), avx512cdBit = on(28),
                        avx512bwBit = on(30), avx512vlBit = on(31);  // leaf 7 EBX
constexpr std::uint32_t avx512vbmiBit = on(1), avx512vbmi2Bit = on(6);  // leaf 7 ECX
constexpr std::uint32_t amxBf16Bit = on(22), amxTileBit = on(24), amxInt8Bit = on(25);  // leaf 7 EDX
constexpr std::uint32_t amxFp16Bit = on(21);                             // leaf 7.1 EAX
constexpr std::uint32_t amxComplexBit = on(8), avx10Bit = on(19);        // leaf 7.1 EDX
constexpr std::uint32_t amxFp8Bit = on(4), amxTf32Bit = on(6);           // leaf 0x1E.1 EAX
constexpr std::uint32_t sse4aBit = on(6), prefetchBit = on(8), xopBit = on(11);         // leaf 0x80000001 ECX
constexpr std::uint32_t mmxExtBit = on(22), threeDNowExtBit = on(30), threeDNowBit = on(31);  // leaf 0x80000001 EDX

#if defined(__x86_64__) || defined(__i386__)
// The same positions as the compiler knows them.
static_assert(mmxBit == bit_MMX && sseBit == bit_SSE && sse2Bit == bit_SSE2);
static_assert(sse3Bit == bit_SSE3 && ssse3Bit == bit_SSSE3 && fmaBit == bit_FMA && sse41Bit == bit_SSE4_1 &&
              sse42Bit == bit_SSE4_2 && avxBit == bit_AVX && f16cBit == bit_F16C);
static_assert(bmi1Bit == bit_BMI && avx2Bit == bit_AVX2 && bmi2Bit == bit_BMI2 && avx512fBit == bit_AVX512F &&
              avx512dqBit == bit_AVX512DQ && adxBit == bit_ADX && avx512ifmaBit == bit_AVX512IFMA &&
              avx512cdBit == bit_AVX512CD && avx512bwBit == bit_AVX512BW && avx512vlBit == bit_AVX512VL);
static_assert(avx512vbmiBit == bit_AVX512VBMI && avx512vbmi2Bit == bit_AVX512VBMI2);
static_assert(amxBf16Bit == bit_AMX_BF16 && amxTileBit == bit_AMX_TILE && amxInt8Bit == bit_AMX_INT8);
static_assert(sse4aBit == bit_SSE4a && prefetchBit == bit_PRFCHW && xopBit == bit_XOP);
static_assert(mmxExtBit == bit_MMXEXT && threeDNowExtBit == bit_3DNOWP && threeDNowBit == bit_3DNOW);
#endif

// Feature registers of a synthetic processor.
struct FeatureBits {
    std::uint32_t leaf1Ecx = 0, leaf1Edx = 0;
    std::uint32_t leaf7Ebx = 0, leaf7Ecx = 0, leaf7Edx = 0;
    std::uint32_t leaf7Sub1Eax = 0, leaf7Sub1Edx = 0;
    std::uint32_t leaf1ESub1Eax = 0;
    std::uint32_t avx10Version = 0;  // leaf 0x24 EBX
    std::uint32_t extendedEcx = 0, extendedEdx = 0;
};

constexpr FeatureBits nehalem{
    .leaf1Ecx = sse3Bit | ssse3Bit | sse41Bit | sse42Bit,
    .leaf1Edx = mmxBit | sseBit | sse2Bit | httBit,
};
constexpr FeatureBits haswell{
    .leaf1Ecx = sse3Bit | ssse3Bit | fmaBit | sse41Bit | sse42Bit | avxBit | f16cBit,
    .leaf1Edx = mmxBit | sseBit | sse2Bit | httBit,
    .leaf7Ebx = bmi1Bit | avx2Bit | bmi2Bit | adxBit,
    .extendedEcx = prefetchBit,
};
constexpr FeatureBits k10{
    .leaf1Ecx = sse3Bit,
    .leaf1Edx = mmxBit | sseBit | sse2Bit,
    .extendedEcx = sse4aBit | prefetchBit,
    .extendedEdx = mmxExtBit | threeDNowExtBit | threeDNowBit,
};
constexpr FeatureBits piledriver{
    .leaf1Ecx = sse3Bit | ssse3Bit | fmaBit | sse41Bit | sse42Bit | avxBit | f16cBit,
    .leaf1Edx = mmxBit | sseBit | sse2Bit,
    .leaf7Ebx = bmi1Bit,
    .extendedEcx = sse4aBit | prefetchBit | xopBit,
    .extendedEdx = mmxExtBit,
};
constexpr FeatureBits everything{
    .leaf1Ecx = sse3Bit | ssse3Bit | fmaBit | sse41Bit | sse42Bit | avxBit | f16cBit,
    .leaf1Edx = mmxBit | sseBit | sse2Bit | httBit,
    .leaf7Ebx = bmi1Bit | avx2Bit | bmi2Bit | avx512fBit | avx512dqBit | adxBit | avx512ifmaBit |
                avx512cdBit | avx512bwBit | avx512vlBit,
    .leaf7Ecx = avx512vbmiBit | avx512vbmi2Bit,
    .leaf7Edx = amxBf16Bit | amxTileBit | amxInt8Bit,
    .leaf7Sub1Eax = amxFp16Bit,
    .leaf7Sub1Edx = amxComplexBit | avx10Bit,
    .leaf1ESub1Eax = amxFp8Bit | amxTf32Bit,
    .avx10Version = 2,
    .extendedEcx = sse4aBit | prefetchBit | xopBit,
    .extendedEdx = mmxExtBit | threeDNowExtBit | threeDNowBit,
};

// Four characters as a register holds them, the first in the lowest byte.
std::uint32_t pack(const char* text) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(text[i]);
    return value;
}

void putVendor(CpuidSnapshot& registers, const char* name) {
    registers.leaf0.ebx = pack(name);
    registers.leaf0.edx = pack(name + 4);
    registers.leaf0.ecx = pack(name + 8);
}

void putHypervisor(CpuidSnapshot& registers, const char* name, bool announced) {
    registers.leaf40000000 = {0x40000001, pack(name), pack(name + 4), pack(name + 8)};
    if (announced) registers.leaf1.ecx |= hypervisorBit;
}

// A processor reporting every leaf the identification reads.
CpuidSnapshot processor(const FeatureBits& bits, const char* vendor = "GenuineIntel") {
    CpuidSnapshot registers;
    registers.leaf0.eax = 0x24;
    putVendor(registers, vendor);
    registers.leaf1 = {0, 0, bits.leaf1Ecx, bits.leaf1Edx};
    registers.leaf7 = {1, bits.leaf7Ebx, bits.leaf7Ecx, bits.leaf7Edx};
    registers.leaf7Sub1 = {bits.leaf7Sub1Eax, 0, 0, bits.leaf7Sub1Edx};
    registers.leaf1E = {1, 0, 0, 0};
    registers.leaf1ESub1 = {bits.leaf1ESub1Eax, 0, 0, 0};
    registers.leaf24 = {0, bits.avx10Version, 0, 0};
    registers.leaf80000000.eax = 0x80000008;
    registers.leaf80000001 = {0, 0, bits.extendedEcx, bits.extendedEdx};
    return registers;
}

struct VendorCase {
    const char* vendor;
    const char* hypervisor;  // nullptr: leaf 0x40000000 empty
    bool announced;          // leaf 1 ECX bit 31
    VendorCode code;
    const char* word;
};

TEST(ProcessorVendor, StringsGiveCodesAndWords) {
    const VendorCase cases[] = {
        {"AuthenticAMD", nullptr, false, VendorCode::Amd, "AMD "},
        {"AMDisbetter!", nullptr, false, VendorCode::Amd, "AMD "},
        {"GenuineIntel", nullptr, false, VendorCode::Intel, "Intel "},
        {"CentaurHauls", nullptr, false, VendorCode::LikeAmdOrIntel, "Like AMD or Intel "},
        {"  Shanghai  ", nullptr, false, VendorCode::LikeAmdOrIntel, "Like AMD or Intel "},
        {"HygonGenuine", nullptr, false, VendorCode::LikeAmdOrIntel, "Like AMD or Intel "},
        {"SiS SiS SiS ", nullptr, false, VendorCode::LikeAmdOrIntel, "Like AMD or Intel "},
        {"E2K MACHINE ", nullptr, false, VendorCode::LikeAmdOrIntel, "Like AMD or Intel "},
        {"GenuineIntel", "Microsoft Hv", true, VendorCode::Virtual, "Virtual "},
        {"AuthenticAMD", " lrpepyh  vr", true, VendorCode::Virtual, "Virtual "},
        {"AuthenticAMD", "bhyve bhyve ", true, VendorCode::Virtual, "Virtual "},
        {"GenuineIntel", " KVMKVMKVM  ", true, VendorCode::Virtual, "Virtual "},
        {"GenuineIntel", " QNXQVMBSQG ", true, VendorCode::Virtual, "Virtual "},
        {"VirtualApple", nullptr, false, VendorCode::Virtual, "Virtual "},
        // An unknown hypervisor leaves the maker; a known string without the
        // announcing bit is not looked at.
        {"GenuineIntel", "SomeVisor 1 ", true, VendorCode::Intel, "Intel "},
        {"AuthenticAMD", "VMwareVMware", false, VendorCode::Amd, "AMD "},
        {"Nonesuch CPU", nullptr, false, VendorCode::Other, "CPU "},
        {"genuineintel", nullptr, false, VendorCode::Other, "CPU "},
        {"\0\0\0\0\0\0\0\0\0\0\0\0", nullptr, false, VendorCode::Other, "CPU "},
    };
    for (const VendorCase& c : cases) {
        CpuidSnapshot registers = processor(nehalem, c.vendor);
        if (c.hypervisor) putHypervisor(registers, c.hypervisor, c.announced);
        const ProcessorFacts facts = processorFactsFromCpuid(registers);
        const std::string label = std::string(c.vendor, 12) + " / " + (c.hypervisor ? c.hypervisor : "-");
        EXPECT_EQ(facts.vendorCode, c.code) << label;
        EXPECT_EQ(facts.vendorWord.toUtf8(), c.word) << label;
    }
}

struct FeatureCase {
    const char* name;
    FeatureBits bits;
    const char* line;
};

TEST(ProcessorFeatures, LineInFixedOrder) {
    const FeatureCase cases[] = {
        {"haswell", haswell, "mmx+ext, sse+2+3+s3+41+42, avx+f16c+fma+bmi1+bmi2+2+adx"},
        {"k10", k10, "mmx+ext, 3dnow+ext+prefetch, sse+2+3+4a"},
        {"piledriver", piledriver, "mmx+ext, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1"},
        {"everything", everything,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, avx10.2, amx+int8+fp8+bf16+fp16+tf32+cplx"},
        {"mmx alone", {.leaf1Edx = mmxBit}, "mmx"},
        {"amd mmx extensions without sse", {.leaf1Edx = mmxBit, .extendedEdx = mmxExtBit}, "mmx+ext"},
        {"sub-features without their family",
         {.leaf1Edx = sseBit | sse2Bit,
          .leaf7Ebx = bmi1Bit | bmi2Bit | avx2Bit | adxBit | avx512cdBit | avx512vlBit,
          .leaf7Edx = amxInt8Bit | amxBf16Bit,
          .extendedEcx = prefetchBit,
          .extendedEdx = mmxExtBit | threeDNowExtBit},
         "sse+2"},
        {"avx10 without its version leaf", {.leaf7Sub1Edx = avx10Bit}, "avx10"},
        {"avx10.1", {.leaf7Sub1Edx = avx10Bit, .avx10Version = 1}, "avx10.1"},
        {"nothing", {}, "No single instruction, multiple data"},
    };
    for (const FeatureCase& c : cases)
        EXPECT_EQ(featureLine(processorFactsFromCpuid(processor(c.bits))).toUtf8(), c.line) << c.name;
}

struct LeafLimitCase {
    std::uint32_t maxLeaf;
    std::uint32_t leaf7Subleaves;
    std::uint32_t leaf1ESubleaves;
    std::uint32_t maxExtended;
    const char* line;
};

TEST(ProcessorFeatures, LeavesAboveTheMaximaAreIgnored) {
    const LeafLimitCase cases[] = {
        {0x24, 1, 1, 0x80000008,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, avx10.2, amx+int8+fp8+bf16+fp16+tf32+cplx"},
        {0x23, 1, 1, 0x80000008,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, avx10, amx+int8+fp8+bf16+fp16+tf32+cplx"},
        {0x24, 1, 0, 0x80000008,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, avx10.2, amx+int8+bf16+fp16+cplx"},
        {0x24, 0, 1, 0x80000008,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, amx+int8+fp8+bf16+tf32"},
        {0x0D, 1, 1, 0x80000008,
         "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma+bmi1+bmi2+2+adx, "
         "avx512+f+cd+vl+dq+bw+ifma+vbmi+vbmi2, avx10, amx+int8+bf16+fp16+cplx"},
        {6, 1, 1, 0x80000008, "mmx+ext, 3dnow+ext+prefetch, sse+2+3+s3+41+4a+42, avx+f16c+xop+fma"},
        {6, 1, 1, 0x80000000, "mmx+ext, sse+2+3+s3+41+42, avx+f16c+fma"},
        {0, 1, 1, 0x80000000, "No single instruction, multiple data"},
    };
    for (const LeafLimitCase& c : cases) {
        CpuidSnapshot registers = processor(everything);
        registers.leaf0.eax = c.maxLeaf;
        registers.leaf7.eax = c.leaf7Subleaves;
        registers.leaf1E.eax = c.leaf1ESubleaves;
        registers.leaf80000000.eax = c.maxExtended;
        EXPECT_EQ(featureLine(processorFactsFromCpuid(registers)).toUtf8(), c.line)
            << std::hex << c.maxLeaf << " " << c.leaf7Subleaves << " " << c.leaf1ESubleaves << " "
            << c.maxExtended;
    }
}

struct LevelCase {
    const char* name;
    FeatureBits bits;
    double threeDNow, sse, avx;
};

TEST(ProcessorFeatures, FamilyLevels) {
    const LevelCase cases[] = {
        {"nehalem", nehalem, 0, 4.3, 0},
        {"haswell", haswell, 0, 5, 1.2},
        {"k10", k10, 3, 4.1, 0},
        {"piledriver", piledriver, 0, 5, 1},
        {"everything", everything, 3, 5, 10.2},
        {"3dnow alone", {.extendedEdx = threeDNowBit}, 1, 0, 0},
        {"nothing", {}, 0, 0, 0},
    };
    for (const LevelCase& c : cases) {
        const ProcessorFacts facts = processorFactsFromCpuid(processor(c.bits));
        EXPECT_DOUBLE_EQ(facts.threeDNowLevel, c.threeDNow) << c.name;
        EXPECT_DOUBLE_EQ(facts.sseLevel, c.sse) << c.name;
        EXPECT_DOUBLE_EQ(facts.avxLevel, c.avx) << c.name;
    }
}

struct CoreCase {
    const char* vendor;
    const char* hypervisor;  // nullptr: none announced
    std::uint32_t count;     // leaf 1 EBX bits 16..23
    bool hyperThreading;
    const char* line;
    int threads;
};

TEST(ProcessorCores, LineAndThreadCount) {
    const CoreCase cases[] = {
        {"GenuineIntel", nullptr, 8, true, "Intel cores 1*4+htt (8 threads)", 8},
        {"GenuineIntel", nullptr, 4, false, "Intel cores 1*4 (4 threads)", 4},
        {"AuthenticAMD", nullptr, 8, false, "AMD cores 1*8 (8 threads)", 8},
        {"AuthenticAMD", nullptr, 16, true, "AMD cores 1*16+htt (32 threads)", 32},
        {"HygonGenuine", nullptr, 16, true, "Like AMD or Intel cores 1*8+htt (16 threads)", 16},
        {"Nonesuch CPU", nullptr, 6, false, "CPU cores 1*6 (6 threads)", 6},
        // A hypervisor changes the word, not the maker's way of counting.
        {"AuthenticAMD", "bhyve bhyve ", 8, true, "Virtual cores 1*8+htt (16 threads)", 16},
        {"GenuineIntel", "Microsoft Hv", 8, true, "Virtual cores 1*4+htt (8 threads)", 8},
        // Counts that come out 0 count as 1.
        {"GenuineIntel", nullptr, 0, false, "Intel cores 1*1 (1 threads)", 1},
        {"GenuineIntel", nullptr, 1, true, "Intel cores 1*1+htt (2 threads)", 2},
        {"AuthenticAMD", nullptr, 255, true, "AMD cores 1*255+htt (510 threads)", 510},
    };
    for (const CoreCase& c : cases) {
        CpuidSnapshot registers = processor(haswell, c.vendor);
        registers.leaf1.ebx = (c.count << 16) | 0x0800;  // brand and cache-line bytes stay out
        if (!c.hyperThreading) registers.leaf1.edx &= ~httBit;
        if (c.hypervisor) putHypervisor(registers, c.hypervisor, true);
        const ProcessorFacts facts = processorFactsFromCpuid(registers);
        EXPECT_EQ(coreLine(facts).toUtf8(), c.line) << c.vendor << " " << c.count;
        EXPECT_EQ(facts.threadCount, c.threads) << c.vendor << " " << c.count;
        EXPECT_EQ(facts.packages, 1);
    }
}

TEST(ProcessorCores, WithoutCpuidTheHardwareCountStands) {
    const struct {
        unsigned hardware;
        const char* line;
        int threads;
    } cases[] = {
        {0, "CPU cores 1*1 (1 threads)", 1},
        {1, "CPU cores 1*1 (1 threads)", 1},
        {6, "CPU cores 1*6 (6 threads)", 6},
    };
    for (const auto& c : cases) {
        const ProcessorFacts facts = processorFactsFromThreadCount(c.hardware);
        EXPECT_EQ(coreLine(facts).toUtf8(), c.line) << c.hardware;
        EXPECT_EQ(facts.threadCount, c.threads) << c.hardware;
        EXPECT_EQ(featureLine(facts).toUtf8(), "No single instruction, multiple data");
    }
}

TEST(ProcessorSimd, Sse2IsRequired) {
    const struct {
        const char* name;
        FeatureBits bits;
        bool passes;
    } cases[] = {
        {"haswell", haswell, true},
        {"sse2 alone", {.leaf1Edx = sse2Bit}, true},
        {"sse without sse2", {.leaf1Edx = mmxBit | sseBit}, false},
        {"avx without sse2", {.leaf1Ecx = avxBit | sse3Bit, .leaf1Edx = sseBit}, false},
        {"nothing", {}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(hasRequiredSimd(processorFactsFromCpuid(processor(c.bits))), c.passes) << c.name;
    EXPECT_TRUE(hasRequiredSimd(processorFactsFromThreadCount(4)));  // no CPUID, no test
    EXPECT_STREQ(missingSimdMessage, "Your CPU cannot process the SSE commands of this program!");
}

TEST(ProcessorMachine, IdentifiesThisProcessor) {
    const ProcessorFacts facts = identifyProcessor();
    EXPECT_GE(facts.threadCount, 1);
    EXPECT_GE(facts.logicalCount, 1);
    EXPECT_FALSE(featureLine(facts).empty());
    EXPECT_TRUE(coreLine(facts).toUtf8().find("cores 1*") != std::string::npos);
#if defined(__x86_64__)
    EXPECT_TRUE(hasRequiredSimd(facts));  // SSE2 belongs to every x86-64
#endif
}

}  // namespace
}  // namespace corvane
