#include "number_text.h"

#include <set>

namespace OME {

namespace {

std::set<std::string_view> words_of(std::string_view text) {
    std::set<std::string_view> words;
    for (auto blank = text.find(' '); blank != text.npos; blank = text.find(' ')) {
        words.insert(text.substr(0, blank));
        text.remove_prefix(blank + 1);
    }
    words.insert(text);
    return words;
}

/// The attributes of the schema that are numbers. No other element has one of these names for a text.
std::set<std::string_view> const numbers = words_of(
    "A00 A01 A02 A10 A11 A12 AirPressure AmplificationGain Attenuation CO2Percent CalibratedMagnification "
    "Color Column Columns CorrectionCollar CutIn CutInTolerance CutOut CutOutTolerance DeltaT "
    "EmissionWavelength ExcitationWavelength ExposureTime FieldIndex FillColor FirstC FirstT FirstZ "
    "FontSize FrequencyMultiplication Gain Height Humidity IFD Index Integration Length LensNA "
    "MaximumFieldCount NDFilter NominalMagnification Offset PhysicalSizeX PhysicalSizeY PhysicalSizeZ "
    "PinholeSize PlaneCount PockelCellSetting PositionX PositionY PositionZ Power RadiusX RadiusY "
    "ReadOutRate RefractiveIndex RepetitionRate Row Rows SamplesPerPixel SignificantBits Size SizeC SizeT "
    "SizeX SizeY SizeZ StrokeColor StrokeWidth Temperature TheC TheT TheZ TimeIncrement Transmittance "
    "Voltage Wavelength WellOriginX WellOriginY Width WorkingDistance X X1 X2 Y Y1 Y2 Z Zoom");

std::set<std::string_view> const booleans = words_of("BigEndian Interleaved Iris Locked PockelCell Tuneable");

std::string_view without_blanks_around(std::string_view text) {
    constexpr std::string_view blanks = " \t\n\r";
    auto const first = text.find_first_not_of(blanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view plain_number(std::string_view text) {
    bool const has_plus = text.size() > 1 && text[0] == '+' && text[1] != '+' && text[1] != '-';
    return has_plus ? text.substr(1) : text;
}

std::string_view plain_boolean(std::string_view text) {
    if (text == "1") return "true";
    if (text == "0") return "false";
    return text;
}

} // namespace

std::string_view plain_number_text(std::string_view attribute, std::string_view text) {
    if (numbers.contains(attribute)) return plain_number(without_blanks_around(text));
    if (booleans.contains(attribute)) return plain_boolean(without_blanks_around(text));
    return text;
}

} // namespace OME
