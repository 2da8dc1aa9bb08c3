// Standard names of the tags of TIFF 6.0, TIFF/EP, DNG and Exif directories.
#include <algorithm>
#include <iterator>

#include "qvi_ifd.h"

namespace Orvanetics {

namespace {

struct TagName {
    int tag;
    const char* name;
};

// Each table is sorted by tag number for a binary search.
constexpr TagName kTiffNames[] = {
    {254, "NewSubfileType"},
    {255, "OldSubfileType"},
    {256, "ImageWidth"},
    {257, "ImageLength"},
    {258, "BitsPerSample"},
    {259, "Compression"},
    {262, "PhotometricInterpretation"},
    {264, "CellWidth"},
    {265, "CellLength"},
    {266, "FillOrder"},
    {269, "DocumentName"},
    {270, "ImageDescription"},
    {271, "Make"},
    {272, "Model"},
    {273, "StripOffsets"},
    {277, "SamplesPerPixel"},
    {278, "RowsPerStrip"},
    {279, "StripByteCounts"},
    {280, "MinSampleValue"},
    {281, "MaxSampleValue"},
    {282, "XResolution"},
    {283, "YResolution"},
    {285, "PageName"},
    {286, "XPosition"},
    {287, "YPosition"},
    {289, "FreeByteCounts"},
    {290, "GrayResponseUnit"},
    {291, "GrayResponseCurve"},
    {296, "ResolutionUnit"},
    {300, "ColorResponseUnit"},
    {301, "TransferFunction"},
    {305, "Software"},
    {306, "DateTime"},
    {315, "Artist"},
    {316, "HostComputer"},
    {318, "WhitePoint"},
    {320, "ColorMap"},
    {321, "HalftoneHints"},
    {322, "TileWidth"},
    {324, "TileOffsets"},
    {325, "TileByteCounts"},
    {330, "SubIFD"},
    {332, "InkSet"},
    {334, "NumberOfInks"},
    {336, "DotRange"},
    {337, "TargetPrinter"},
    {339, "SampleFormat"},
    {340, "SMinSampleValue"},
    {341, "SMaxSampleValue"},
    {343, "ClipPath"},
    {348, "YClipPathUnits"},
    {529, "YCbCrCoefficients"},
    {530, "YCbCrSubsampling"},
    {532, "ReferenceBlackWhite"},
    {700, "XMLPacket"},
    {32995, "Matteing"},
    {32996, "DataType"},
    {32998, "TileDepth"},
    {33300, "ImageFullWidth"},
    {33301, "ImageFullLength"},
    {33302, "TextureFormat"},
    {33303, "TextureWrapModes"},
    {33304, "FieldOfViewCotangent"},
    {33305, "MatrixWorldToScreen"},
    {33306, "MatrixWorldToCamera"},
    {33432, "Copyright"},
    {33723, "RichTIFFIPTC"},
    {34377, "Photoshop"},
    {34665, "EXIFIFDOffset"},
    {34675, "ICCProfile"},
    {34853, "GPSIFDOffset"},
    {34908, "FaxRecvParams"},
    {34909, "FaxSubAddress"},
    {34911, "FaxDcs"},
    {37439, "StoNits"},
    {40965, "InteroperabilityIFDOffset"},
    {50707, "DNGBackwardVersion"},
    {50708, "UniqueCameraModel"},
    {50709, "LocalizedCameraModel"},
    {50710, "CFAPlaneColor"},
    {50712, "LinearizationTable"},
    {50713, "BlackLevelRepeatDim"},
    {50714, "BlackLevel"},
    {50715, "BlackLevelDeltaH"},
    {50716, "BlackLevelDeltaV"},
    {50717, "WhiteLevel"},
    {50718, "DefaultScale"},
    {50719, "DefaultCropOrigin"},
    {50720, "DefaultCropSize"},
    {50721, "ColorMatrix1"},
    {50722, "ColorMatrix2"},
    {50723, "CameraCalibration1"},
    {50724, "CameraCalibration2"},
    {50725, "ReductionMatrix1"},
    {50726, "ReductionMatrix2"},
    {50727, "AnalogBalance"},
    {50729, "AsShotWhiteXY"},
    {50730, "BaselineExposure"},
    {50731, "BaselineNoise"},
    {50733, "BayerGreenSplit"},
    {50734, "LinearResponseLimit"},
    {50735, "CameraSerialNumber"},
    {50736, "LensInfo"},
    {50738, "AntiAliasStrength"},
    {50739, "ShadowScale"},
    {50740, "DNGPrivateData"},
    {50741, "MakerNoteSafety"},
    {50778, "CalibrationIlluminant1"},
    {50779, "CalibrationIlluminant2"},
    {50780, "BestQualityScale"},
    {50781, "RawDataUniqueID"},
    {50827, "OriginalRawFileName"},
    {50828, "OriginalRawFileData"},
    {50829, "ActiveArea"},
    {50830, "MaskedAreas"},
    {50832, "AsShotPreProfileMatrix"},
    {50833, "CurrentICCProfile"},
    {50834, "CurrentPreProfileMatrix"},
    // A pseudo-tag beyond the 16-bit range: per-sample value handling.
    {65563, "PerSample"},
};
static_assert(std::size(kTiffNames) == 119);

constexpr TagName kExifNames[] = {
    {34850, "ExposureProgram"},
    {34852, "SpectralSensitivity"},
    {34855, "ISOSpeedRatings"},
    {34856, "OECF"},
    {36867, "DateTimeOriginal"},
    {36868, "DateTimeDigitized"},
    {37121, "ComponentsConfiguration"},
    {37122, "CompressedBitsPerPixel"},
    {37377, "ShutterSpeedValue"},
    {37378, "ApertureValue"},
    {37380, "ExposureBiasValue"},
    {37381, "MaxApertureValue"},
    {37382, "SubjectDistance"},
    {37383, "MeteringMode"},
    {37384, "LightSource"},
    {37385, "Flash"},
    {37396, "SubjectArea"},
    {37500, "MakerNote"},
    {37510, "UserComment"},
    {37520, "SubSecTime"},
    {37521, "SubSecTimeOriginal"},
    {37522, "SubSecTimeDigitized"},
    {40961, "ColorSpace"},
    {40963, "PixelYDimension"},
    {40964, "RelatedSoundFile"},
    {41483, "FlashEnergy"},
    {41484, "SpatialFrequencyResponse"},
    {41487, "FocalPlaneYResolution"},
    {41488, "FocalPlaneResolutionUnit"},
    {41492, "SubjectLocation"},
    {41493, "ExposureIndex"},
    {41495, "SensingMethod"},
    {41728, "FileSource"},
    {41729, "SceneType"},
    {41730, "CFAPattern"},
    {41985, "CustomRendered"},
    {41986, "ExposureMode"},
    {41987, "WhiteBalance"},
    {41988, "DigitalZoomRatio"},
    {41989, "FocalLengthIn35mmFilm"},
    {41991, "GainControl"},
    {41992, "Contrast"},
    {41993, "Saturation"},
    {41994, "Sharpness"},
    {41995, "DeviceSettingDescription"},
    {41996, "SubjectDistanceRange"},
    {42016, "ImageUniqueID"},
};
static_assert(std::size(kExifNames) == 47);

constexpr TagName kGpsNames[] = {
    {0, "VersionID"},
    {17, "ImgDirection"},
    {18, "MapDatum"},
    {19, "DestLatitudeRef"},
    {20, "DestLatitude"},
    {21, "DestLongitudeRef"},
    {22, "DestLongitude"},
    {23, "DestBearingRef"},
    {24, "DestBearing"},
    {25, "DestDistanceRef"},
    {26, "DestDistance"},
    {27, "ProcessingMethod"},
    {28, "AreaInformation"},
    {29, "DateStamp"},
    {30, "Differential"},
};
static_assert(std::size(kGpsNames) == 15);

template <size_t N>
constexpr bool isSorted(const TagName (&table)[N]) {
    return std::is_sorted(std::begin(table), std::end(table),
                          [](const TagName& a, const TagName& b) { return a.tag < b.tag; });
}
static_assert(isSorted(kTiffNames) && isSorted(kExifNames) && isSorted(kGpsNames));

template <size_t N>
const char* lookup(const TagName (&table)[N], int tag) {
    const auto found = std::lower_bound(std::begin(table), std::end(table), tag,
                                        [](const TagName& row, int value) { return row.tag < value; });
    return found != std::end(table) && found->tag == tag ? found->name : nullptr;
}

}  // namespace

const char* tiffTagToName(int tag) {
    return lookup(kTiffNames, tag);
}

const char* exifTagToName(int tag) {
    return lookup(kExifNames, tag);
}

const char* gpsTagToName(int tag) {
    return lookup(kGpsNames, tag);
}

const char* interoperabilityTagToName(int tag) {
    return tag == 1 ? "InteroperabilityIndex" : nullptr;
}

}  // namespace Orvanetics
