// Symbolic names for the status codes the library raises. The texts are in
// the status table (qv_statusTable.cpp); each constant notes its text.
#pragma once

#include "qv_utilStatusData.h"

namespace Orvanetics {

// General (0 to 9).
constexpr QVStatus QVI_STS_Success = 0;             // "Success"
constexpr QVStatus QVI_STS_Failure = 1;             // "Failure"
constexpr QVStatus QVI_STS_BadStyle = 2;            // no row: an invalid navigator style
constexpr QVStatus QVI_STS_BadParam = 3;            // "bad function parameter"
constexpr QVStatus QVI_STS_BadContext = 4;          // "bad calling context"
constexpr QVStatus QVI_STS_BadThirdPartyLib = 5;    // "3rd-party library error"
constexpr QVStatus QVI_STS_NotReached = 6;          // "unreachable code"
constexpr QVStatus QVI_STS_NullPointer = 7;         // "NULL pointer dereferenced"
constexpr QVStatus QVI_STS_OutOfMemory = 8;         // "out of memory"
constexpr QVStatus QVI_STS_NotImplemented = 9;      // "not implemented"

// Wavelet kernel (2000 to 2999).
constexpr QVStatus QVI_STS_Tavix_Base = 2000;
constexpr QVStatus QVI_STS_Tavix_ReadError = 2001;          // "tavix read error"
constexpr QVStatus QVI_STS_Tavix_WriteError = 2002;         // "tavix write error"
constexpr QVStatus QVI_STS_Tavix_OpenError = 2003;          // "tavix open error"
constexpr QVStatus QVI_STS_Tavix_IOError = 2004;            // "tavix IO error"
constexpr QVStatus QVI_STS_Tavix_FormatError = 2005;        // "tavix format error"
constexpr QVStatus QVI_STS_Tavix_BadVersion = 2006;         // "tavix bad version"
constexpr QVStatus QVI_STS_Tavix_Interrupt = 2007;          // "tavix interrupt"
constexpr QVStatus QVI_STS_Tavix_BadArgument = 2009;        // "tavix bad argument"
constexpr QVStatus QVI_STS_Tavix_BadContext = 2010;         // "tavix bad context"
constexpr QVStatus QVI_STS_Tavix_SecurityError = 2011;      // "tavix security error"
constexpr QVStatus QVI_STS_Tavix_OutOfMemory = 2012;        // "tavix out of memory"
constexpr QVStatus QVI_STS_Tavix_UnhandledException = 2013; // "tavix unhandled exception"
constexpr QVStatus QVI_STS_Tavix_NotReached = 2014;         // "tavix NOTREACHED"
constexpr QVStatus QVI_STS_Tavix_StatusInvalid = 2015;      // "tavix status invalid"
constexpr QVStatus QVI_STS_Tavix_NoMSEs = 2016;             // "tavix no MSEs"
constexpr QVStatus QVI_STS_Tavix_BadClientRequest = 2017;   // "tavix bad client request"
constexpr QVStatus QVI_STS_Tavix_ServerError = 2018;        // "tavix server error"
constexpr QVStatus QVI_STS_Tavix_ImageNotCompatible = 2019; // "tavix image not compatible"
constexpr QVStatus QVI_STS_Tavix_IntegerOverflow = 2020;    // "tavix integer overflow"
constexpr QVStatus QVI_STS_Tavix_CompositeMismatch = 2022;  // "tavix composite impedance mismatch"
constexpr QVStatus QVI_STS_Tavix_FloatNeedsQuantization = 2023;   // "tavix floating point image needs quantization"
constexpr QVStatus QVI_STS_Tavix_FloatQuantizationOverflow = 2024; // "... quantization values will overflow"
constexpr QVStatus QVI_STS_Tavix_DBObjectNeedsRewrite = 2025; // "tavix db object needs rewrite"
constexpr QVStatus QVI_STS_Tavix_BadBandSelection = 2026;   // "tavix bad band selection"
constexpr QVStatus QVI_STS_Tavix_BadNumLevels = 2027;       // "bad number of levels"
constexpr QVStatus QVI_STS_Tavix_CorruptFile = 2028;        // "corrupt file"
constexpr QVStatus QVI_STS_Tavix_Max = 2999;

// Utilities (3000 to 3999).
constexpr QVStatus QVI_STS_Util_Base = 3000;
constexpr QVStatus QVI_STS_Util_NullPointer = 3001;         // "NULL pointer dereferenced"
constexpr QVStatus QVI_STS_Util_ResourceNotFound = 3002;    // "The specified resource was not found"
constexpr QVStatus QVI_STS_Util_CritSecInit = 3010;         // "critical section initialization failure"
constexpr QVStatus QVI_STS_Util_MutexLock = 3021;           // "mutex lock error"
constexpr QVStatus QVI_STS_Util_MutexUnlock = 3022;         // "mutex unlock error"
constexpr QVStatus QVI_STS_Util_InvalidFileSpec = 3033;     // "invalid filespec error"
constexpr QVStatus QVI_STS_Util_FileNotFound = 3035;        // "The file was not found"
constexpr QVStatus QVI_STS_Util_DirNotFound = 3036;         // "The directory was not found"
constexpr QVStatus QVI_STS_Util_StatError = 3038;           // "stat error"
constexpr QVStatus QVI_STS_Util_StatusDataInit = 3070;      // "StatusData initialization error"
constexpr QVStatus QVI_STS_Util_StatusDataType = 3071;      // "StatusData data type error"
constexpr QVStatus QVI_STS_Util_LocaleNotSet = 3100;        // "locale could not be set"
constexpr QVStatus QVI_STS_Util_Max = 3999;

// Legacy image formats (7000 to 7999).
constexpr QVStatus QVI_STS_Image_Base = 7000;
constexpr QVStatus QVI_STS_Image_CannotOpenFile = 7012;     // "cannot open file - %F"
constexpr QVStatus QVI_STS_Image_AuxFileError = 7601;       // "aux file error, %F - line %d"
constexpr QVStatus QVI_STS_Image_Max = 7999;

// XR2 decoder (8000 to 8999) and encoder (9000 to 9999).
constexpr QVStatus QVI_STS_XR2Dec_Base = 8000;
constexpr QVStatus QVI_STS_XR2Dec_InternalError = 8001;     // "xr2d internal error"
constexpr QVStatus QVI_STS_XR2Dec_VersionError = 8002;      // "Tavix version error"
constexpr QVStatus QVI_STS_XR2Dec_DecodeError = 8022;       // "Error decoding image"
constexpr QVStatus QVI_STS_XR2Dec_Interrupt = 8040;         // "Interrupt"
constexpr QVStatus QVI_STS_XR2_ReadError = 8101;            // "xr2 read error"
constexpr QVStatus QVI_STS_XR2_WriteError = 8102;           // "xr2 write error"
constexpr QVStatus QVI_STS_XR2_IOError = 8103;              // "xr2 i/o error"
constexpr QVStatus QVI_STS_XR2_NotXR2File = 8104;           // "not a XR2 file"
constexpr QVStatus QVI_STS_XR2_UnsupportedVersion = 8105;   // "unsupported version of xr2"
constexpr QVStatus QVI_STS_XR2_BadFileMarker = 8106;        // "bad xr2 file marker"
constexpr QVStatus QVI_STS_XR2_BlockSizeTooLarge = 8107;    // "blocksize too large"
constexpr QVStatus QVI_STS_XR2_BlockSizeTooSmall = 8108;    // "blocksize too small"
constexpr QVStatus QVI_STS_XR2_BinCountTooLarge = 8109;     // "binCount too large"
constexpr QVStatus QVI_STS_XR2_BinCountTooSmall = 8110;     // "binCount too small"
constexpr QVStatus QVI_STS_XR2_HuffmanDecodeError = 8111;   // "huffman decode error"
constexpr QVStatus QVI_STS_XR2_OutOfMemory = 8113;          // "xr2 out of memory"
constexpr QVStatus QVI_STS_XR2_UnknownException = 8114;     // "xr2 internal error: unknown exception"
constexpr QVStatus QVI_STS_XR2_BlockNotCompatible = 8115;   // "xr2 raster block not compatible"
constexpr QVStatus QVI_STS_XR2_LevelTooLarge = 8116;        // "level is larger than the number of levels in image"
constexpr QVStatus QVI_STS_XR2_SupportTooLarge = 8117;      // "support is larger than the image"
constexpr QVStatus QVI_STS_XR2_BadColorConversion = 8118;   // "bad color space conversion"
constexpr QVStatus QVI_STS_XR2_BlockSupportTooLarge = 8119; // "block suport is larger than the subband"
constexpr QVStatus QVI_STS_XR2Enc_Base = 9000;
constexpr QVStatus QVI_STS_XR2_Max = 9999;

// Core (50000 to 50199).
constexpr QVStatus QVI_STS_Core_Base = 50000;
constexpr QVStatus QVI_STS_Core_UnsupportedDataType = 50001;     // "unsupported datatype"
constexpr QVStatus QVI_STS_Core_UnsupportedOperation = 50002;    // "requested operation not supported"
constexpr QVStatus QVI_STS_Core_InvalidArgument = 50003;         // "invalid argument to function"
constexpr QVStatus QVI_STS_Core_OpenError = 50004;               // "error opening file"
constexpr QVStatus QVI_STS_Core_WriteError = 50005;              // "error writing file"
constexpr QVStatus QVI_STS_Core_ReadError = 50006;               // "error reading file"
constexpr QVStatus QVI_STS_Core_InternalError = 50007;           // "internal error"
constexpr QVStatus QVI_STS_Core_AllocFailed = 50008;             // "memory allocation failed"
constexpr QVStatus QVI_STS_Core_StripTooLarge = 50009;           // "strip cannot be allocated on this architecture"
constexpr QVStatus QVI_STS_Core_WorldFileName = 50010;           // "error in world file name"
constexpr QVStatus QVI_STS_Core_NoOutputTarget = 50011;          // "output target not specified"
constexpr QVStatus QVI_STS_Core_SceneTooLarge = 50012;           // "scene larger than 2GB"
constexpr QVStatus QVI_STS_Core_InvalidScene = 50013;            // "invalid or empty scene specified"
constexpr QVStatus QVI_STS_Core_SceneOutOfRange = 50014;         // "specified scene out of range of image"
constexpr QVStatus QVI_STS_Core_MagOutOfRange = 50015;           // "scene magnification out of range"
constexpr QVStatus QVI_STS_Core_MismatchDataType = 50016;        // "impedance mismatch - datatype"
constexpr QVStatus QVI_STS_Core_MismatchColorSpace = 50017;      // "impedance mismatch - colorspace"
constexpr QVStatus QVI_STS_Core_MismatchNumBands = 50018;        // "impedance mismatch - number of bands"
constexpr QVStatus QVI_STS_Core_UnsupportedColorSpace = 50019;   // "unsupported colorspace"
constexpr QVStatus QVI_STS_Core_UnsupportedNumBands = 50020;     // "unsupported number of bands"
constexpr QVStatus QVI_STS_Core_DataTypeMismatch = 50021;        // "datatype mismatch"
constexpr QVStatus QVI_STS_Core_ColorSpaceBandsMismatch = 50022; // "mismatch between colorspace and number of bands"
constexpr QVStatus QVI_STS_Core_RawSizeMismatch = 50025;         // "actual size of raw image file not equal to expected size"
constexpr QVStatus QVI_STS_Core_MetadataReadError = 50026;       // "error reading metadata"
constexpr QVStatus QVI_STS_Core_SceneBufferSizeMismatch = 50027; // "specified scene size differs from buffer size"
constexpr QVStatus QVI_STS_Core_MetadataFormatError = 50028;     // "metadata format error"
constexpr QVStatus QVI_STS_Core_MetadataCount = 50029;           // "unexpected number of metadata values"
constexpr QVStatus QVI_STS_Core_MetadataKeyValue = 50030;        // "metadata key cannot support this value"
constexpr QVStatus QVI_STS_Core_BBBDimensions = 50100;           // "incorrect BBB image dimensions"
constexpr QVStatus QVI_STS_Core_BBBDomainBits = 50101;           // "incorrect BBB domain bits"
constexpr QVStatus QVI_STS_Core_BBBWordLength = 50102;           // "incorrect BBB word length"
constexpr QVStatus QVI_STS_Core_BBBNumBands = 50103;             // "BBB image not 1 or 3 bands"
constexpr QVStatus QVI_STS_Core_BBBUnknownLayout = 50104;        // "unknown BBB image layout"
constexpr QVStatus QVI_STS_Core_BBBByteOrder = 50105;            // "incorrect BBB byte order"
constexpr QVStatus QVI_STS_Core_BBBMissingNBands = 50106;        // "BBB missing NBANDS"
constexpr QVStatus QVI_STS_Core_BBBMissingNCols = 50107;         // "BBB missing NCOLS"
constexpr QVStatus QVI_STS_Core_BBBMissingNRows = 50108;         // "BBB missing NROWS"
constexpr QVStatus QVI_STS_Core_BBBHeaderFormat = 50109;         // "invalid BBB header format"
constexpr QVStatus QVI_STS_Core_BBBLayout = 50110;               // "BBB incorrect layout"
constexpr QVStatus QVI_STS_Core_BBBColorSpace = 50111;           // "BBB bad colorspace"
constexpr QVStatus QVI_STS_Core_AOINotRectangular = 50112;       // "area of interest (AOI) not rectangular"
constexpr QVStatus QVI_STS_Core_ShapeMaskDataType = 50113;       // "unsupported datatype in shape mask"
constexpr QVStatus QVI_STS_Core_SVDIterations = 50114;           // "SVD took too many iterations"
constexpr QVStatus QVI_STS_Core_IntegerOverflow = 50115;         // "integer overflow"
constexpr QVStatus QVI_STS_Core_DataTypeOverflow = 50117;        // "datatype overflow"
constexpr QVStatus QVI_STS_Core_Max = 50199;

// Image filters (50200 to 50299).
constexpr QVStatus QVI_STS_Filter_Base = 50200;
constexpr QVStatus QVI_STS_Filter_UnsupportedDataType = 50201;   // "unsupported datatype"
constexpr QVStatus QVI_STS_Filter_ColorTransform = 50202;        // "unsupported colorspace transform"
constexpr QVStatus QVI_STS_Filter_InvalidArgument = 50203;       // "invalid argument"
constexpr QVStatus QVI_STS_Filter_DataTypeTransform = 50204;     // "unsupported datatype transform"
constexpr QVStatus QVI_STS_Filter_IncompatiblePixels = 50205;    // "incompatible pixel properties - ..."
constexpr QVStatus QVI_STS_Filter_IncompatibleXRes = 50206;      // "incompatible X resolutions"
constexpr QVStatus QVI_STS_Filter_IncompatibleYRes = 50207;      // "incompatible Y resolutions"
constexpr QVStatus QVI_STS_Filter_InvalidSampleMap = 50209;      // "invalid sample map"
constexpr QVStatus QVI_STS_Filter_InvalidEmbedding = 50210;      // "invalid embedding"
constexpr QVStatus QVI_STS_Filter_InvalidComposition = 50211;    // "invalid composition inputs"
constexpr QVStatus QVI_STS_Filter_XResNotScalable = 50212;       // "incompatible X resolutions - not scalable"
constexpr QVStatus QVI_STS_Filter_YResNotScalable = 50213;       // "incompatible Y resolutions - not scalable"
constexpr QVStatus QVI_STS_Filter_XYResNotScalable = 50214;      // "incompatible X/Y resolutions - not scalable"
constexpr QVStatus QVI_STS_Filter_UnsupportedColorSpace = 50215; // "unsupported colorspace"
constexpr QVStatus QVI_STS_Filter_AllocFailed = 50216;           // "memory allocation failed"
constexpr QVStatus QVI_STS_Filter_InvalidDynamicRange = 50217;   // "invalid dynamic range"
constexpr QVStatus QVI_STS_Filter_BandStringSyntax = 50230;      // "bad format or syntax error of band string"
constexpr QVStatus QVI_STS_Filter_IllegalBandNumber = 50231;     // "illegal band number"
constexpr QVStatus QVI_STS_Filter_InvalidScene = 50232;          // "invalid or empty scene specified"
constexpr QVStatus QVI_STS_Filter_MaskPixelMismatch = 50236;     // "mask pixel mismatch"
constexpr QVStatus QVI_STS_Filter_DuplicateBands = 50239;        // "filter does not support duplicate bands ..."
constexpr QVStatus QVI_STS_Filter_NumBandsMismatch = 50241;      // "number of bands mismatch"
constexpr QVStatus QVI_STS_Filter_StreamReadError = 50243;       // "error reading stream"
constexpr QVStatus QVI_STS_Filter_StreamWriteError = 50244;      // "error writing stream"
constexpr QVStatus QVI_STS_Filter_MissingAlpha = 50245;          // "missing required alpha band"
constexpr QVStatus QVI_STS_Filter_Max = 50299;

// Image writers (50400 to 50499).
constexpr QVStatus QVI_STS_Writer_Base = 50400;
constexpr QVStatus QVI_STS_Writer_CannotWriteFile = 50401;       // "Cannot write to file %F"
constexpr QVStatus QVI_STS_Writer_UnsupportedColorSpace = 50402; // "unsupported colorspace"
constexpr QVStatus QVI_STS_Writer_UnsupportedDataType = 50403;   // "unsupported datatype"
constexpr QVStatus QVI_STS_Writer_AllocFailed = 50404;           // "memory allocation failed"
constexpr QVStatus QVI_STS_Writer_BBBCannotWrite = 50440;        // "BBB: cannot write to file"
constexpr QVStatus QVI_STS_Writer_PNGOutOfMemory = 50464;        // "PNG: out of memory"
constexpr QVStatus QVI_STS_Writer_PNGLibError = 50465;           // "PNG: libpng error '%s'"
constexpr QVStatus QVI_STS_Writer_Max = 50499;

// Metadata (50500 to 50599).
constexpr QVStatus QVI_STS_Metadata_Base = 50500;
constexpr QVStatus QVI_STS_Metadata_InternalError = 50501;       // "internal error"
constexpr QVStatus QVI_STS_Metadata_UnsupportedDataType = 50502; // "unsupported datatype"
constexpr QVStatus QVI_STS_Metadata_TagNotFound = 50503;         // "tag not found"
constexpr QVStatus QVI_STS_Metadata_DuplicateTag = 50504;        // "duplicate tag"
constexpr QVStatus QVI_STS_Metadata_OldMetadata = 50505;         // "internal error - from old Metadata"
constexpr QVStatus QVI_STS_Metadata_ScalarASCIIOnly = 50506;     // "only scalar ASCII records supported"
constexpr QVStatus QVI_STS_Metadata_BadTagFormat = 50507;        // "bad format for given tag"
constexpr QVStatus QVI_STS_Metadata_ReadError = 50508;           // "could not read metadata"
constexpr QVStatus QVI_STS_Metadata_WriteError = 50509;          // "could not write metadata"
constexpr QVStatus QVI_STS_Metadata_Corrupt = 50510;             // "the metadata is corrupt"
constexpr QVStatus QVI_STS_Metadata_VersionUnsupported = 50511;  // "metadata version unsupported"
constexpr QVStatus QVI_STS_Metadata_BadIFDRead = 50512;          // "bad IFD read"
constexpr QVStatus QVI_STS_Metadata_BadIFDWrite = 50513;         // "bad IFD write"
constexpr QVStatus QVI_STS_Metadata_Max = 50599;

// Wavelet readers (50600 to 50699).
constexpr QVStatus QVI_STS_TavixReader_Base = 50600;
constexpr QVStatus QVI_STS_TavixReader_UnsupportedColorSpace = 50601; // "unsupported colorspace"
constexpr QVStatus QVI_STS_TavixReader_UnsupportedDataType = 50602;   // "unsupported datatype"
constexpr QVStatus QVI_STS_TavixReader_InvalidMemoryModel = 50603;    // "invalid memory model"
constexpr QVStatus QVI_STS_TavixReader_InvalidMetadata = 50604;       // "invalid metadata"
constexpr QVStatus QVI_STS_TavixReader_MetadataReadError = 50605;     // "error reading metadata"
constexpr QVStatus QVI_STS_TavixReader_InvalidStripHeight = 50606;    // "invalid stripheight"
constexpr QVStatus QVI_STS_TavixReader_InvalidFileFormat = 50607;     // "invalid tavix file format"
constexpr QVStatus QVI_STS_TavixReader_XR2DecodeError = 50610;        // "error decoding XR2 file"
constexpr QVStatus QVI_STS_TavixReader_UnknownTileFormat = 50612;     // "unknown tile image format"
constexpr QVStatus QVI_STS_TavixReader_CannotOpenFile = 50613;        // "can't open file: %F"
constexpr QVStatus QVI_STS_TavixReader_UnsupportedVersion = 50614;    // "unsupported Tavix file version"
constexpr QVStatus QVI_STS_TavixReader_DuplicateBand = 50615;         // "can not select a band more than once"
constexpr QVStatus QVI_STS_TavixReader_BandListXR4Only = 50616;       // "band list only works with XR4"
constexpr QVStatus QVI_STS_TavixReader_LiDAR = 50617;                 // "Tavix file contains LiDAR data"
constexpr QVStatus QVI_STS_TavixReader_Max = 50699;

// JPEG 2000 (50900 to 50999).
constexpr QVStatus QVI_STS_J2K_Base = 50900;
constexpr QVStatus QVI_STS_J2K_UnsupportedColorSpace = 50902;  // "JP2: unsupported colorspace"
constexpr QVStatus QVI_STS_J2K_UnsupportedDataType = 50903;    // "JP2: unsupported datatype"
constexpr QVStatus QVI_STS_J2K_InternalError = 50904;          // "JP2: internal error"
constexpr QVStatus QVI_STS_J2K_InternalErrorText = 50905;      // "JP2: internal error (%s)"
constexpr QVStatus QVI_STS_J2K_InvalidScene = 50908;           // "JP2: invalid scene for decode"
constexpr QVStatus QVI_STS_J2K_MetadataReadError = 50910;      // "JP2: error reading metadata"
constexpr QVStatus QVI_STS_J2K_FileNotFound = 50950;           // "JP2: file not found"
constexpr QVStatus QVI_STS_J2K_ReadError = 50951;              // "JP2: error reading file"
constexpr QVStatus QVI_STS_J2K_NotJPEG2000 = 50952;            // "JP2: not valid JPEG 2000 file"
constexpr QVStatus QVI_STS_J2K_InvalidCodestream = 50954;      // "JP2: invalid codestream (image number)"
constexpr QVStatus QVI_STS_J2K_DuplicateBand = 50984;          // "can not select a band more than once"
constexpr QVStatus QVI_STS_J2K_Max = 50999;

// NITF (51200 to 51299).
constexpr QVStatus QVI_STS_NITF_Base = 51200;
constexpr QVStatus QVI_STS_NITF_UnsupportedDataType = 51201;    // "unsupported datatype"
constexpr QVStatus QVI_STS_NITF_UnsupportedColorSpace = 51202;  // "unsupported colorspace"
constexpr QVStatus QVI_STS_NITF_OpenError = 51203;              // "error opening file"
constexpr QVStatus QVI_STS_NITF_ReadError = 51204;              // "error reading file"
constexpr QVStatus QVI_STS_NITF_LUTsUnsupported = 51205;        // "LUTs unsupported"
constexpr QVStatus QVI_STS_NITF_InvalidSegmentNumber = 51206;   // "invalid image segment number"
constexpr QVStatus QVI_STS_NITF_AllocFailed = 51207;            // "memory allocation failed"
constexpr QVStatus QVI_STS_NITF_NotNITF = 51210;                // "file is not valid NITF 2.1 (2500C) file"
constexpr QVStatus QVI_STS_NITF_Encrypted = 51211;              // "encrypted NITF not supported"
constexpr QVStatus QVI_STS_NITF_Streaming = 51212;              // "NITF STREAMING extension not supported"
constexpr QVStatus QVI_STS_NITF_Version11 = 51213;              // "NITF v1.1 not supported"
constexpr QVStatus QVI_STS_NITF_UnsupportedIC = 51214;          // "NITF image format (IC) not supported"
constexpr QVStatus QVI_STS_NITF_Bilevel = 51215;                // "NITF bilevel image format not supported"
constexpr QVStatus QVI_STS_NITF_JPEG = 51216;                   // "NITF JPEG image format not supported"
constexpr QVStatus QVI_STS_NITF_VQ = 51217;                     // "NITF VQ image format not supported"
constexpr QVStatus QVI_STS_NITF_LosslessJPEG = 51218;           // "NITF lossless JPEG image format not supported"
constexpr QVStatus QVI_STS_NITF_DownsampledJPEG = 51219;        // "NITF downsampled JPEG image format not supported"
constexpr QVStatus QVI_STS_NITF_GraphicVersion = 51220;         // "Graphic segment version unsupported"
constexpr QVStatus QVI_STS_NITF_NotByteAligned = 51221;         // "non-byte-aligned data is unsupported"
constexpr QVStatus QVI_STS_NITF_JPEGSegment = 51222;            // "error parsing JPEG segment"
constexpr QVStatus QVI_STS_NITF_BadString = 51223;              // "badly formed string"
constexpr QVStatus QVI_STS_NITF_BlockedJP2 = 51224;             // "NITF blocked JP2 image format not supported"
constexpr QVStatus QVI_STS_NITF_PJUSTLeft = 51225;              // "PJUST=L not supported"
constexpr QVStatus QVI_STS_NITF_SceneNotEntireImage = 51226;    // "specified scene must be entire image"
constexpr QVStatus QVI_STS_NITF_TooManySegments = 51227;        // "maximum number of image segments exceeded"
constexpr QVStatus QVI_STS_NITF_ILOCOutOfRange = 51228;         // "image segments out of file format range (ILOC)"
constexpr QVStatus QVI_STS_NITF_SegmentTooLarge = 51229;        // "image segment is larger than 10GB"
constexpr QVStatus QVI_STS_NITF_DuplicateStream = 51230;        // "error duplicating stream"
constexpr QVStatus QVI_STS_NITF_InvalidICORDS = 51232;          // "specified ICORDS value is invalid"
constexpr QVStatus QVI_STS_NITF_GeocentricIGEOLO = 51233;       // "writing geocentric IGEOLO is not supported (v2.0)"
constexpr QVStatus QVI_STS_NITF_Max = 51299;

// Georeferencing metadata (51300 to 51399).
constexpr QVStatus QVI_STS_GeoMetadata_Base = 51300;
constexpr QVStatus QVI_STS_GeoMetadata_BadIFDRead = 51301;         // "bad TIFF IFD read"
constexpr QVStatus QVI_STS_GeoMetadata_BadIFDWrite = 51302;        // "bad TIFF IFD write"
constexpr QVStatus QVI_STS_GeoMetadata_BadGeoTIFFDir = 51303;      // "bad GeoTIFF Directory"
constexpr QVStatus QVI_STS_GeoMetadata_InvalidSRS = 51304;         // "invalid SRS"
constexpr QVStatus QVI_STS_GeoMetadata_GDALDataNotSet = 51306;     // "GDAL_DATA not set"
constexpr QVStatus QVI_STS_GeoMetadata_MGRSConversion = 51308;     // "MGRS conversion error"
constexpr QVStatus QVI_STS_GeoMetadata_UnsupportedIGEOLO = 51309;  // "unsupported IGEOLO setting"
constexpr QVStatus QVI_STS_GeoMetadata_NoTransformer = 51310;      // "could not create coordinate transformer"
constexpr QVStatus QVI_STS_GeoMetadata_Reprojection = 51311;       // "coordinate reprojection error"
constexpr QVStatus QVI_STS_GeoMetadata_InvalidWKT = 51312;         // "invalid WKT"
constexpr QVStatus QVI_STS_GeoMetadata_MalformedMGRS = 51313;      // "malformed MGRS coordinates"
constexpr QVStatus QVI_STS_GeoMetadata_Max = 51399;

// WCS client (52100 to 52199).
constexpr QVStatus QVI_STS_WCSClient_Base = 52100;
constexpr QVStatus QVI_STS_WCSClient_Max = 52199;

// Streams (145000 to 145999).
constexpr QVStatus QVI_STS_IO_Base = 145000;
constexpr QVStatus QVI_STS_IO_NotInitialized = 145003;   // "stream not initialized"
constexpr QVStatus QVI_STS_IO_Unsupported = 145010;      // "operation unsupported"
constexpr QVStatus QVI_STS_IO_InvalidArgs = 145011;      // "invalid arguments"
constexpr QVStatus QVI_STS_IO_InvalidState = 145012;     // "stream in invalid state"
constexpr QVStatus QVI_STS_IO_OutOfMemory = 145013;      // "out of memory"
constexpr QVStatus QVI_STS_IO_FileLock = 145014;         // "unable to get file lock"
constexpr QVStatus QVI_STS_IO_FileUnlock = 145015;       // "could not unlock file"
constexpr QVStatus QVI_STS_IO_Max = 145999;

}  // namespace Orvanetics
