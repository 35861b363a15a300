// The header dump of the info commands: every printed field of the block,
// with the names of its codes.
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "formats/nifti.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

const char* datatypeName(int datatype) {
    switch (datatype) {
        case 2: return "INT8";  // unsigned, yet named as 256 is
        case 4: return "INT16";
        case 8: return "INT32";
        case 16: return "FLOAT32";
        case 32: return "COMPLEX64";
        case 64: return "FLOAT64";
        case 128: return "RGB24";
        case 256: return "INT8";
        case 512: return "UINT16";
        case 768: return "UINT32";
        case 1024: return "INT64";
        case 1280: return "UINT64";
        case 1536: return "FLOAT128";
        case 1792: return "COMPLEX128";
        case 2048: return "COMPLEX256";
        default: return "Unknown type";
    }
}

const char* intentName(int code) {
    static const char* const statistics[] = {"CORREL",  "TTEST",   "FTEST",      "ZSCORE",     "CHISQ",
                                             "BETA",    "BINOM",   "GAMMA",      "POISSON",    "NORMAL",
                                             "FTEST_NONC", "CHISQ_NONC", "LOGISTIC", "LAPLACE", "UNIFORM",
                                             "TTEST_NONC", "WEIBULL", "CHI",     "INVGAUSS",   "EXTVAL",
                                             "PVAL"};
    static const char* const others[] = {"ESTIMATE",  "LABEL",    "NEURONAME", "GENMATRIX", "SYMMATRIX",
                                         "DISPVECT",  "VECTOR",   "POINTSET",  "TRIANGLE",  "QUATERNION"};
    if (code >= 2 && code <= 22) return statistics[code - 2];
    if (code >= 1001 && code <= 1010) return others[code - 1001];
    return "No intent";
}

// Low two bits: the spatial unit; bits 2..7: the temporal one, joined by
// " or " when both stand.
Text unitText(int units) {
    Text text;
    switch (units & 3) {
        case 1: text = "m"; break;
        case 2: text = "mm"; break;
        case 3: text = Text("\xC2\xB5m"); break;
        default: break;
    }
    const char* temporal = nullptr;
    switch (units & 252) {
        case 8: temporal = "sec"; break;
        case 16: temporal = "msec"; break;
        case 24: temporal = "\xC2\xB5sec"; break;
        case 32: temporal = "HZ"; break;
        case 40: temporal = "ppm"; break;
        case 48: temporal = "rad/sec"; break;
        default: break;
    }
    if (temporal != nullptr) text += (text.empty() ? Text() : Text(" or ")) + Text(temporal);
    return text;
}

Text real(double value) { return realToText(value); }
Text whole(std::int64_t value) { return integerToText(value); }

Text row(const std::array<float, 4>& values) {
    return "  [" + real(values[0]) + "\t" + real(values[1]) + "\t" + real(values[2]) + "\t" + real(values[3]) + "]";
}

Text titleOf(const std::string& magic) {
    const Text version = magic.size() > 2 ? Text(magic.substr(2, 1)) : Text();
    if (magic.rfind("n+", 0) == 0) return "Nifti header of one file - NII Version " + version;
    if (magic.rfind("n", 0) == 0) return "Nifti header - NII Version " + version;
    return "Nifti header - HDR";
}

// Text fields may hold any bytes; they are shown byte for byte up to their limit.
Text byteText(const std::string& bytes, std::size_t limit) { return Text::fromBytes(std::string_view(bytes).substr(0, limit)); }

}  // namespace

std::vector<Text> niftiHeaderDump(const NiftiHeader& h) {
    std::vector<Text> lines;
    lines.push_back(titleOf(h.magic));
    lines.push_back("==================");
    lines.push_back("Description: " + byteText(h.descrip, 79));
    lines.push_back(Text());
    lines.push_back(Text());
    lines.push_back("Header.");
    lines.push_back("  Size: " + whole(h.sizeofHdr));
    lines.push_back("Slices.");
    lines.push_back("  Slice order: " + whole(h.dimInfo) + " Timing order: " + whole(h.sliceCode));
    lines.push_back("  Slice start: " + whole(h.sliceStart) + " End: " + whole(h.sliceEnd));
    lines.push_back("  Slice offset: " + real(h.sclInter) + " Slope: " + real(h.sclSlope));
    lines.push_back("  Time offset: " + real(h.toffset) + "  Duration: " + real(h.sliceDuration));
    lines.push_back("Affine transformtion (" + whole(h.sformCode) + ").");
    lines.push_back(row(h.srowX));
    lines.push_back(row(h.srowY));
    lines.push_back(row(h.srowZ));
    lines.push_back("Quaternion (" + whole(h.qformCode) + ").");
    lines.push_back("  [a,b,c,d] = [sqrt(1.0-(b*b+c*c+d*d)), " + real(h.quaternB) + ", " + real(h.quaternC) + ", " +
                    real(h.quaternD) + "]");
    lines.push_back("  offset = [" + real(h.qoffsetX) + " " + real(h.qoffsetY) + " " + real(h.qoffsetZ) + "]");
    lines.push_back("Data array dimensions (" + whole(h.bitpix) + " bits & " + datatypeName(h.datatype) + " (" +
                    whole(h.datatype) + ") data type).");
    for (int i = 0; i < 8; ++i) lines.push_back("  Dim[" + whole(i) + "] = " + whole(h.dim[i]));
    lines.push_back("Grid spacings.");
    lines.push_back("  Pixdim[0] = qfac = " + real(h.pixdim[0]));
    for (int i = 1; i < 8; ++i) {
        const int units = i <= 3 ? (h.xyztUnits & 15) : (h.xyztUnits >> 4);
        lines.push_back("  Pixdim[" + whole(i) + "] = " + real(h.pixdim[i]) + " " + unitText(units));
    }
    Text data = Text("Data (") + datatypeName(h.datatype) + " Meaning: " + intentName(h.intentCode);
    if (!h.intentName.empty()) data += " - " + byteText(h.intentName, 15);
    lines.push_back(data + ").");
    lines.push_back("  Min intensity: " + real(h.calMin) + " Max intensity: " + real(h.calMax));
    lines.push_back("  Data offset: " + real(h.voxOffset));
    return lines;
}

}  // namespace corvane
