// Processor facts: CPUID reading, the vendor table, feature flags, levels,
// thread count, and the banner lines built from them.
#include "foundation/processor.h"

#include <initializer_list>
#include <string_view>
#include <thread>
#include <utility>

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include "foundation/numbers.h"

namespace corvane {
namespace {

constexpr std::size_t vendorNameLength = 12;

// One row per code: printed word and the 12-byte CPUID strings back to back.
struct VendorRow {
    VendorCode code;
    const char* word;
    std::string_view names;
};

constexpr VendorRow vendorRows[] = {
    {VendorCode::Amd, "AMD ", "AuthenticAMD" "AMDisbetter!"},
    {VendorCode::Intel, "Intel ", "GenuineIntel"},
    {VendorCode::LikeAmdOrIntel, "Like AMD or Intel ",
     "CentaurHauls" "CyrixInstead" "TransmetaCPU" "Geode by NSC" "NexGenDriven" "RiseRiseRise"
     "SiS SiS SiS " "UMC UMC UMC " "VIA VIA VIA " "Vortex86 SoC" "  Shanghai  " "HygonGenuine"
     "E2K MACHINE "},
    {VendorCode::Virtual, "Virtual ",
     "bhyve bhyve " " KVMKVMKVM  " "TCGTCGTCGTCG" "KVMKVMKVMKVM" "Microsoft Hv" " lrpepyh  vr"
     "VMwareVMware" "XenVMMXenVMM" "ACRNACRNACRN" " QNXQVMBSQG " "VirtualApple"},
    {VendorCode::PowerPc, "PowerPC ", ""},
    {VendorCode::Sparc, "Sparc ", ""},
    {VendorCode::Arm, "ARM ", ""},
};
constexpr const char* otherVendorWord = "CPU ";

constexpr bool namesAreWhole() {
    for (const VendorRow& row : vendorRows)
        if (row.names.size() % vendorNameLength != 0) return false;
    return true;
}
static_assert(namesAreWhole(), "vendor strings are 12 bytes each");

bool rowLists(const VendorRow& row, std::string_view name) {
    for (std::size_t at = 0; at < row.names.size(); at += vendorNameLength)
        if (row.names.substr(at, vendorNameLength) == name) return true;
    return false;
}

VendorCode vendorCodeOf(std::string_view name) {
    for (const VendorRow& row : vendorRows)
        if (rowLists(row, name)) return row.code;
    return VendorCode::Other;
}

Text vendorWordOf(VendorCode code) {
    for (const VendorRow& row : vendorRows)
        if (row.code == code) return Text(row.word);
    return Text(otherVendorWord);
}

const VendorRow& virtualRow() {
    for (const VendorRow& row : vendorRows)
        if (row.code == VendorCode::Virtual) return row;
    return vendorRows[0];  // not reached: the table holds the row
}

// Registers hold the string's bytes lowest first.
void appendRegister(ByteText& text, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) text += static_cast<char>((value >> shift) & 0xFF);
}

bool bit(std::uint32_t value, int position) { return ((value >> position) & 1) != 0; }

void deriveLevels(ProcessorFacts& facts) {
    if (facts.threeDNow) {
        facts.threeDNowLevel = 1;
        if (facts.threeDNowExtensions) facts.threeDNowLevel = 2;
        if (facts.threeDNowPrefetch) facts.threeDNowLevel = 3;
    }
    if (facts.sse) {
        const std::pair<bool, double> steps[] = {
            {facts.sse2, 2},  {facts.sse3, 3},    {facts.ssse3, 3.5}, {facts.sse4a, 4.1},
            {facts.sse41, 4.2}, {facts.sse42, 4.3}, {facts.avx, 5},
        };
        facts.sseLevel = 1;
        for (const auto& [present, level] : steps)
            if (present) facts.sseLevel = level;
    }
    if (facts.avx) {
        facts.avxLevel = 1;
        if (facts.avx2) facts.avxLevel = 1.2;
        if (facts.avx512f) facts.avxLevel = 5;
        if (facts.avx10) facts.avxLevel = 10 + facts.avx10Version / 10.0;
    }
}

void deriveThreadCount(ProcessorFacts& facts) {
    facts.packages = 1;
    facts.threadCount = facts.packages * facts.logicalCount * (facts.hyperThreading ? 2 : 1);
    if (facts.threadCount < 1) facts.threadCount = 1;
}

}  // namespace

// Vendor choice: the leaf-0 string names the maker. A hypervisor announces
// itself by leaf 1 ECX bit 31 and its own string in leaf 0x40000000; when
// that string is one of the known hypervisors, the banner says "Virtual ",
// since the guest sees the host's silicon only through it. An unknown
// hypervisor string leaves the maker standing. The AMD exception of the
// logical count follows the maker, not the banner code: the leaf-1 count
// keeps the silicon's convention under a hypervisor too.
ProcessorFacts processorFactsFromCpuid(const CpuidSnapshot& registers) {
    ProcessorFacts facts;
    facts.instructionSetX86 = true;

    const std::uint32_t maxLeaf = registers.leaf0.eax;
    appendRegister(facts.vendorName, registers.leaf0.ebx);
    appendRegister(facts.vendorName, registers.leaf0.edx);
    appendRegister(facts.vendorName, registers.leaf0.ecx);
    facts.makerCode = vendorCodeOf(facts.vendorName);
    facts.vendorCode = facts.makerCode;

    const CpuidLeaf none;
    const CpuidLeaf& leaf1 = maxLeaf >= 1 ? registers.leaf1 : none;
    const CpuidLeaf& leaf7 = maxLeaf >= 7 ? registers.leaf7 : none;
    const CpuidLeaf& leaf7Sub1 = maxLeaf >= 7 && registers.leaf7.eax >= 1 ? registers.leaf7Sub1 : none;
    const CpuidLeaf& leaf1ESub1 =
        maxLeaf >= 0x1E && registers.leaf1E.eax >= 1 ? registers.leaf1ESub1 : none;
    const CpuidLeaf& leaf24 = maxLeaf >= 0x24 ? registers.leaf24 : none;
    const std::uint32_t maxExtended = registers.leaf80000000.eax;
    const bool extendedExists = maxExtended >= 0x80000001 && maxExtended <= 0x8000FFFF;
    const CpuidLeaf& leaf80000001 = extendedExists ? registers.leaf80000001 : none;

    facts.hypervisor = bit(leaf1.ecx, 31);
    if (facts.hypervisor) {
        appendRegister(facts.hypervisorName, registers.leaf40000000.ebx);
        appendRegister(facts.hypervisorName, registers.leaf40000000.ecx);
        appendRegister(facts.hypervisorName, registers.leaf40000000.edx);
        if (rowLists(virtualRow(), facts.hypervisorName)) facts.vendorCode = VendorCode::Virtual;
    }
    facts.vendorWord = vendorWordOf(facts.vendorCode);

    facts.mmx = bit(leaf1.edx, 23);
    facts.sse = bit(leaf1.edx, 25);
    facts.sse2 = bit(leaf1.edx, 26);
    facts.hyperThreading = bit(leaf1.edx, 28);
    facts.sse3 = bit(leaf1.ecx, 0);
    facts.ssse3 = bit(leaf1.ecx, 9);
    facts.fma = bit(leaf1.ecx, 12);
    facts.sse41 = bit(leaf1.ecx, 19);
    facts.sse42 = bit(leaf1.ecx, 20);
    facts.avx = bit(leaf1.ecx, 28);
    facts.f16c = bit(leaf1.ecx, 29);

    facts.bmi1 = bit(leaf7.ebx, 3);
    facts.avx2 = bit(leaf7.ebx, 5);
    facts.bmi2 = bit(leaf7.ebx, 8);
    facts.avx512f = bit(leaf7.ebx, 16);
    facts.avx512dq = bit(leaf7.ebx, 17);
    facts.adx = bit(leaf7.ebx, 19);
    facts.avx512ifma = bit(leaf7.ebx, 21);
    facts.avx512cd = bit(leaf7.ebx, 28);
    facts.avx512bw = bit(leaf7.ebx, 30);
    facts.avx512vl = bit(leaf7.ebx, 31);
    facts.avx512vbmi = bit(leaf7.ecx, 1);
    facts.avx512vbmi2 = bit(leaf7.ecx, 6);
    facts.amxBf16 = bit(leaf7.edx, 22);
    facts.amx = bit(leaf7.edx, 24);  // AMX-TILE, the base of the family
    facts.amxInt8 = bit(leaf7.edx, 25);

    facts.amxFp16 = bit(leaf7Sub1.eax, 21);
    facts.amxComplex = bit(leaf7Sub1.edx, 8);
    facts.avx10 = bit(leaf7Sub1.edx, 19);
    facts.amxFp8 = bit(leaf1ESub1.eax, 4);
    facts.amxTf32 = bit(leaf1ESub1.eax, 6);
    if (facts.avx10) facts.avx10Version = static_cast<int>(leaf24.ebx & 0xFF);

    facts.sse4a = bit(leaf80000001.ecx, 6);
    facts.threeDNowPrefetch = bit(leaf80000001.ecx, 8);
    facts.xop = bit(leaf80000001.ecx, 11);
    facts.threeDNowExtensions = bit(leaf80000001.edx, 30);
    facts.threeDNow = bit(leaf80000001.edx, 31);
    // The MMX extensions are AMD's bit; Intel brings the same instructions
    // with SSE and leaves that bit clear.
    facts.mmxExtensions = bit(leaf80000001.edx, 22) || facts.sse;

    deriveLevels(facts);

    facts.logicalCount = static_cast<int>((leaf1.ebx >> 16) & 0xFF);
    if (facts.logicalCount < 1) facts.logicalCount = 1;
    if (facts.hyperThreading && facts.makerCode != VendorCode::Amd) {
        facts.logicalCount /= 2;
        if (facts.logicalCount < 1) facts.logicalCount = 1;
    }
    deriveThreadCount(facts);
    return facts;
}

ProcessorFacts processorFactsFromThreadCount(unsigned hardwareThreads) {
    ProcessorFacts facts;
    facts.logicalCount = hardwareThreads < 1 ? 1 : static_cast<int>(hardwareThreads);
    deriveThreadCount(facts);
    return facts;
}

ProcessorFacts identifyProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    CpuidSnapshot registers;
    // Each read checks the highest leaf of its range first and leaves the
    // registers zero when the leaf is missing.
    auto read = [](unsigned leaf, unsigned subleaf, CpuidLeaf& into) {
        if (!__get_cpuid_count(leaf, subleaf, &into.eax, &into.ebx, &into.ecx, &into.edx)) into = CpuidLeaf();
    };
    read(0, 0, registers.leaf0);
    read(1, 0, registers.leaf1);
    read(7, 0, registers.leaf7);
    if (registers.leaf7.eax >= 1) read(7, 1, registers.leaf7Sub1);
    read(0x1E, 0, registers.leaf1E);
    if (registers.leaf1E.eax >= 1) read(0x1E, 1, registers.leaf1ESub1);
    if (registers.leaf7Sub1.edx & (1u << 19)) read(0x24, 0, registers.leaf24);
    // The hypervisor range lies outside the basic maximum; it exists when
    // leaf 1 ECX bit 31 says a hypervisor is present.
    if (registers.leaf1.ecx & (1u << 31)) {
        CpuidLeaf& hypervisor = registers.leaf40000000;
        __cpuid(0x40000000, hypervisor.eax, hypervisor.ebx, hypervisor.ecx, hypervisor.edx);
    }
    registers.leaf80000000.eax = __get_cpuid_max(0x80000000, nullptr);
    read(0x80000001, 0, registers.leaf80000001);
    return processorFactsFromCpuid(registers);
#else
    return processorFactsFromThreadCount(std::thread::hardware_concurrency());
#endif
}

// Families print in a fixed order. A family's word stands when its base
// feature exists (MMX, 3DNow, SSE, AVX, AVX-512 F, AVX10, AMX-TILE); its
// sub-items follow that word joined by "+", and without the base they are
// left out, so "+bmi1" never stands alone.
Text featureLine(const ProcessorFacts& facts) {
    struct Item {
        const char* word;
        bool present;
    };
    Text line;
    auto family = [&line](const Text& word, bool base, std::initializer_list<Item> items) {
        if (!base) return;
        if (!line.empty()) line += ", ";
        line += word;
        for (const Item& item : items)
            if (item.present) line += Text("+") + item.word;
    };
    family("mmx", facts.mmx, {{"ext", facts.mmxExtensions}});
    family("3dnow", facts.threeDNow,
           {{"ext", facts.threeDNowExtensions}, {"prefetch", facts.threeDNowPrefetch}});
    family("sse", facts.sse,
           {{"2", facts.sse2}, {"3", facts.sse3}, {"s3", facts.ssse3}, {"41", facts.sse41},
            {"4a", facts.sse4a}, {"42", facts.sse42}});
    family("avx", facts.avx,
           {{"f16c", facts.f16c}, {"xop", facts.xop}, {"fma", facts.fma}, {"bmi1", facts.bmi1},
            {"bmi2", facts.bmi2}, {"2", facts.avx2}, {"adx", facts.adx}});
    family("avx512", facts.avx512f,
           {{"f", facts.avx512f}, {"cd", facts.avx512cd}, {"vl", facts.avx512vl}, {"dq", facts.avx512dq},
            {"bw", facts.avx512bw}, {"ifma", facts.avx512ifma}, {"vbmi", facts.avx512vbmi},
            {"vbmi2", facts.avx512vbmi2}});
    // The version follows a point; without leaf 0x24 the word stands bare.
    family(facts.avx10Version > 0 ? Text("avx10.") + integerToText(facts.avx10Version) : Text("avx10"),
           facts.avx10, {});
    family("amx", facts.amx,
           {{"int8", facts.amxInt8}, {"fp8", facts.amxFp8}, {"bf16", facts.amxBf16},
            {"fp16", facts.amxFp16}, {"tf32", facts.amxTf32}, {"cplx", facts.amxComplex}});
    if (line.empty()) return Text("No single instruction, multiple data");  // verbatim
    return line;
}

Text coreLine(const ProcessorFacts& facts) {
    Text line = facts.vendorWord + "cores " + integerToText(facts.packages) + "*" +
                integerToText(facts.logicalCount);
    if (facts.hyperThreading)
        return line + "+htt (" + integerToText(std::int64_t{facts.packages} * 2 * facts.logicalCount) +
               " threads)";
    return line + " (" + integerToText(std::int64_t{facts.packages} * facts.logicalCount) + " threads)";
}

bool hasRequiredSimd(const ProcessorFacts& facts) { return !facts.instructionSetX86 || facts.sse2; }

}  // namespace corvane
