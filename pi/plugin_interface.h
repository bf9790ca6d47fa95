// Our own declarations of the published Photoshop filter plug-in interface:
// the record a filter receives, the procedure suites a host offers through
// it, the selectors, constants and result codes.
//
// Layout facts that decide whether a real host can load the module:
//  - `FilterRecord` is packed to 4 bytes on Windows: in the 64-bit build many
//    pointers sit at offsets that are 4 modulo 8 (abortProc at 4, inData at 88).
//  - The procedure suites (`BufferProcs`, `HandleProcs`, the descriptor
//    suites), `PIDescriptorParameters` and `PSPixelMap` use the compiler's
//    natural alignment: after the two 16-bit words of a suite the first
//    procedure pointer sits at offset 8 on x64, not 4.
//  - Points and rectangles are 16-bit, vertical first (top, left, bottom,
//    right); `VRect` is the 32-bit rectangle of `displayPixels`.
//  - Every callback uses the C calling convention.
// Both builds (native and Windows) use the same layout, so the substitute
// host and the module agree with each other and with real hosts.
#pragma once

#include <cstddef>
#include <cstdint>

// Calling convention of the interface's procedures. x64 Windows and the
// System V ABI have one convention each; 32-bit Windows would need __cdecl.
#if defined(_WIN32) && !defined(_WIN64)
#define PI_CALL __cdecl
#else
#define PI_CALL
#endif

// Exporting the entry point from the module.
#if defined(_WIN32)
#define PI_EXPORT __declspec(dllexport)
#else
#define PI_EXPORT __attribute__((visibility("default")))
#endif

// ---------------------------------------------------------------------------
// Basic types

typedef unsigned char Boolean;   // 0 or 1, one byte
typedef int32_t Fixed;           // 16.16 fixed point
typedef int16_t OSErr;
typedef uint32_t OSType;         // four-character code
typedef uint32_t DescType;
typedef uint32_t DescriptorKeyID;
typedef uint32_t DescriptorTypeID;
typedef uint32_t DescriptorUnitID;
typedef uint32_t DescriptorEnumID;
typedef uint32_t DescriptorEnumTypeID;
typedef uint32_t DescriptorClassID;
typedef char* Ptr;
typedef Ptr* Handle;
typedef void* BufferID;
typedef unsigned char Str255[256];   // length-prefixed text
typedef Handle PIDescriptorHandle;
typedef void* PIReadDescriptor;      // host's opaque read token
typedef void* PIWriteDescriptor;     // host's opaque write token

// A four-character code as a 32-bit integer, first character in the top byte.
constexpr uint32_t fourCharCode(const char (&text)[5]) {
  return (uint32_t(uint8_t(text[0])) << 24) | (uint32_t(uint8_t(text[1])) << 16) |
         (uint32_t(uint8_t(text[2])) << 8) | uint32_t(uint8_t(text[3]));
}

struct Point {
  int16_t v;
  int16_t h;
};

struct Rect {
  int16_t top;
  int16_t left;
  int16_t bottom;
  int16_t right;
};

struct VPoint {
  int32_t v;
  int32_t h;
};

struct VRect {
  int32_t top;
  int32_t left;
  int32_t bottom;
  int32_t right;
};

struct RGBColor {
  uint16_t red;
  uint16_t green;
  uint16_t blue;
};

// A colour in the image's own mode, one byte per channel.
typedef uint8_t FilterColor[4];

struct PlugInMonitor {
  Fixed gamma;
  Fixed redX;
  Fixed redY;
  Fixed greenX;
  Fixed greenY;
  Fixed blueX;
  Fixed blueY;
  Fixed whiteX;
  Fixed whiteY;
  Fixed ambient;
};

// What `platformData` points to on Windows: the host's main window.
struct PlatformData {
  intptr_t hwnd;
};

// ---------------------------------------------------------------------------
// Selectors of the entry point

enum : int16_t {
  filterSelectorAbout = 0,
  filterSelectorParameters = 1,
  filterSelectorPrepare = 2,
  filterSelectorStart = 3,
  filterSelectorContinue = 4,
  filterSelectorFinish = 5,
};

// ---------------------------------------------------------------------------
// Result codes (the 16-bit result word)

enum : int16_t {
  noErr = 0,
  readErr = -19,
  writErr = -20,
  paramErr = -50,
  memFullErr = -108,
  nilHandleErr = -109,
  userCanceledErr = -128,
  errAEDescNotFound = -1701,
  errAEWrongDataType = -1703,
  errAENotAEDesc = -1704,
  errAEParamMissed = -1715,  // a descriptor read left keys unread
  filterBadParameters = -30100,
  filterBadMode = -30101,
  errPlugInHostInsufficient = -30900,
  errPlugInPropertyUndefined = -30901,
  errReportString = -30904,
};

// ---------------------------------------------------------------------------
// Image modes (`imageMode`)

enum : int16_t {
  plugInModeBitmap = 0,
  plugInModeGrayScale = 1,
  plugInModeIndexedColor = 2,
  plugInModeRGBColor = 3,
  plugInModeCMYKColor = 4,
  plugInModeHSLColor = 5,
  plugInModeHSBColor = 6,
  plugInModeMultichannel = 7,
  plugInModeDuotone = 8,
  plugInModeLabColor = 9,
  plugInModeGray16 = 10,
  plugInModeRGB48 = 11,
  plugInModeLab48 = 12,
  plugInModeCMYK64 = 13,
  plugInModeDeepMultichannel = 14,
  plugInModeDuotone16 = 15,
  plugInModeRGB96 = 16,
  plugInModeGray32 = 17,
};

// ---------------------------------------------------------------------------
// Filter cases (`filterCase`): what the host hands over and how the
// transparency of a layer travels.

enum : int16_t {
  filterCaseUnsupported = -1,
  filterCaseFlatImageNoSelection = 1,
  filterCaseFlatImageWithSelection = 2,
  filterCaseFloatingSelection = 3,
  filterCaseEditableTransparencyNoSelection = 4,
  filterCaseEditableTransparencyWithSelection = 5,
  filterCaseProtectedTransparencyNoSelection = 6,
  filterCaseProtectedTransparencyWithSelection = 7,
};

// ---------------------------------------------------------------------------
// Padding requests (`inputPadding`, `outputPadding`, `maskPadding`): a value
// 0..255 fills the area outside the image with that value, or one of these.

enum : int16_t {
  plugInWantsEdgeReplication = -1,
  plugInDoesNotWantPadding = -2,
  plugInWantsErrorOnBoundsException = -3,
};

// Layouts (`wantLayout`).
enum : int16_t {
  piLayoutTraditional = 0,
  piLayoutRowsColumnsPlanes = 1,
  piLayoutRowsPlanesColumns = 2,
  piLayoutColumnsRowsPlanes = 3,
  piLayoutColumnsPlanesRows = 4,
  piLayoutPlanesRowsColumns = 5,
  piLayoutPlanesColumnsRows = 6,
};

// ---------------------------------------------------------------------------
// Dialog options of the scripting descriptor.
// `playInfo`: what the host wants when it plays an action back.
enum : int16_t {
  plugInDialogDontDisplay = 0,
  plugInDialogDisplay = 1,
  plugInDialogSilent = 2,
};
// `recordInfo`: what the plug-in tells the host when it records.
enum : int16_t {
  plugInDialogOptional = 0,
  plugInDialogRequired = 1,
  plugInDialogNone = 2,
};

// Descriptor value types.
constexpr DescType typeInteger = fourCharCode("long");
constexpr DescType typeFloat = fourCharCode("doub");
constexpr DescType typeUintFloat = fourCharCode("UntF");
constexpr DescType typeBoolean = fourCharCode("bool");
constexpr DescType typeEnumerated = fourCharCode("enum");
constexpr DescType typeChar = fourCharCode("TEXT");
constexpr DescType typeAlias = fourCharCode("alis");
constexpr DescType typeClass = fourCharCode("type");
constexpr DescType typeObject = fourCharCode("Objc");
constexpr DescType typeNull = fourCharCode("null");

// Host signatures the plug-in compares against.
constexpr OSType hostSignaturePhotoshop = fourCharCode("8BIM");
constexpr OSType hostSignaturePSP8 = fourCharCode("PSP8");
constexpr OSType hostSignaturePSP9 = fourCharCode("PSP9");

// ---------------------------------------------------------------------------
// Procedures in the record itself

typedef Boolean(PI_CALL* TestAbortProc)(void);
typedef void(PI_CALL* ProgressProc)(int32_t done, int32_t total);
typedef void(PI_CALL* HostProc)(int16_t selector, intptr_t* data);
typedef void(PI_CALL* ProcessEventProc)(void* event);
typedef OSErr(PI_CALL* AdvanceStateProc)(void);
typedef OSErr(PI_CALL* ColorServicesProc)(void* info);
typedef OSErr(PI_CALL* GetPropertyProc)(OSType signature, OSType key, int32_t index,
                                        intptr_t* simpleProperty, Handle* complexProperty);

// ---------------------------------------------------------------------------
// Buffer procedures: large blocks of the host's memory, known by an id.

typedef OSErr(PI_CALL* AllocateBufferProc)(int32_t size, BufferID* bufferID);
typedef Ptr(PI_CALL* LockBufferProc)(BufferID bufferID, Boolean moveHigh);
typedef void(PI_CALL* UnlockBufferProc)(BufferID bufferID);
typedef void(PI_CALL* FreeBufferProc)(BufferID bufferID);
typedef int32_t(PI_CALL* BufferSpaceProc)(void);

constexpr int16_t kCurrentBufferProcsVersion = 2;
constexpr int16_t kCurrentBufferProcsCount = 5;

struct BufferProcs {
  int16_t bufferProcsVersion;
  int16_t numBufferProcs;
  AllocateBufferProc allocateProc;
  LockBufferProc lockProc;
  UnlockBufferProc unlockProc;
  FreeBufferProc freeProc;
  BufferSpaceProc spaceProc;
};

// ---------------------------------------------------------------------------
// Handle procedures: relocatable blocks that survive between selectors.

typedef Handle(PI_CALL* NewPIHandleProc)(int32_t size);
typedef void(PI_CALL* DisposePIHandleProc)(Handle handle);
typedef int32_t(PI_CALL* GetPIHandleSizeProc)(Handle handle);
typedef OSErr(PI_CALL* SetPIHandleSizeProc)(Handle handle, int32_t newSize);
typedef Ptr(PI_CALL* LockPIHandleProc)(Handle handle, Boolean moveHigh);
typedef void(PI_CALL* UnlockPIHandleProc)(Handle handle);
typedef void(PI_CALL* RecoverSpaceProc)(int32_t size);
typedef void(PI_CALL* DisposeRegularPIHandleProc)(Handle handle);

constexpr int16_t kCurrentHandleProcsVersion = 1;
constexpr int16_t kCurrentHandleProcsCount = 8;

struct HandleProcs {
  int16_t handleProcsVersion;
  int16_t numHandleProcs;
  NewPIHandleProc newProc;
  DisposePIHandleProc disposeProc;
  GetPIHandleSizeProc getSizeProc;
  SetPIHandleSizeProc setSizeProc;
  LockPIHandleProc lockProc;
  UnlockPIHandleProc unlockProc;
  RecoverSpaceProc recoverSpaceProc;
  DisposeRegularPIHandleProc disposeRegularHandleProc;
};

// ---------------------------------------------------------------------------
// Scripting descriptors

struct PIDescriptorSimpleReferenceKeyData {
  Str255 name;
  int32_t index;
  DescriptorTypeID type;
  DescriptorEnumID value;
};

struct PIDescriptorSimpleReference {
  DescriptorTypeID desiredClass;
  DescriptorKeyID keyForm;
  PIDescriptorSimpleReferenceKeyData keyData;
};

// The key list handed to openReadDescriptorProc: ended by a zero word.
typedef const DescriptorKeyID* DescriptorKeyIDArray;

typedef PIWriteDescriptor(PI_CALL* OpenWriteDescriptorProc)(void);
typedef OSErr(PI_CALL* CloseWriteDescriptorProc)(PIWriteDescriptor token,
                                                 PIDescriptorHandle* newDescriptor);
typedef OSErr(PI_CALL* PutIntegerProc)(PIWriteDescriptor token, DescriptorKeyID key, int32_t value);
typedef OSErr(PI_CALL* PutFloatProc)(PIWriteDescriptor token, DescriptorKeyID key, const double* value);
typedef OSErr(PI_CALL* PutUnitFloatProc)(PIWriteDescriptor token, DescriptorKeyID key,
                                         DescriptorUnitID unit, const double* value);
typedef OSErr(PI_CALL* PutBooleanProc)(PIWriteDescriptor token, DescriptorKeyID key, Boolean value);
typedef OSErr(PI_CALL* PutTextProc)(PIWriteDescriptor token, DescriptorKeyID key, Handle text);
typedef OSErr(PI_CALL* PutAliasProc)(PIWriteDescriptor token, DescriptorKeyID key, Handle alias);
typedef OSErr(PI_CALL* PutEnumeratedProc)(PIWriteDescriptor token, DescriptorKeyID key,
                                          DescriptorEnumTypeID type, DescriptorEnumID value);
typedef OSErr(PI_CALL* PutClassProc)(PIWriteDescriptor token, DescriptorKeyID key, DescType type);
typedef OSErr(PI_CALL* PutSimpleReferenceProc)(PIWriteDescriptor token, DescriptorKeyID key,
                                               const PIDescriptorSimpleReference* reference);
typedef OSErr(PI_CALL* PutObjectProc)(PIWriteDescriptor token, DescriptorKeyID key, DescType type,
                                      PIDescriptorHandle object);
typedef OSErr(PI_CALL* PutCountProc)(PIWriteDescriptor token, DescriptorKeyID key, uint32_t count);
typedef OSErr(PI_CALL* PutStringProc)(PIWriteDescriptor token, DescriptorKeyID key,
                                      const unsigned char* pascalString);
typedef OSErr(PI_CALL* PutScopedClassProc)(PIWriteDescriptor token, DescriptorKeyID key, DescType type);
typedef OSErr(PI_CALL* PutScopedObjectProc)(PIWriteDescriptor token, DescriptorKeyID key,
                                            DescType type, PIDescriptorHandle object);

typedef PIReadDescriptor(PI_CALL* OpenReadDescriptorProc)(PIDescriptorHandle descriptor,
                                                          DescriptorKeyIDArray keys);
typedef OSErr(PI_CALL* CloseReadDescriptorProc)(PIReadDescriptor token);
typedef Boolean(PI_CALL* GetKeyProc)(PIReadDescriptor token, DescriptorKeyID* key, DescType* type,
                                     int32_t* flags);
typedef OSErr(PI_CALL* GetIntegerProc)(PIReadDescriptor token, int32_t* value);
typedef OSErr(PI_CALL* GetFloatProc)(PIReadDescriptor token, double* value);
typedef OSErr(PI_CALL* GetUnitFloatProc)(PIReadDescriptor token, DescriptorUnitID* unit, double* value);
typedef OSErr(PI_CALL* GetBooleanProc)(PIReadDescriptor token, Boolean* value);
typedef OSErr(PI_CALL* GetTextProc)(PIReadDescriptor token, Handle* text);
typedef OSErr(PI_CALL* GetAliasProc)(PIReadDescriptor token, Handle* alias);
typedef OSErr(PI_CALL* GetEnumeratedProc)(PIReadDescriptor token, DescriptorEnumID* value);
typedef OSErr(PI_CALL* GetClassProc)(PIReadDescriptor token, DescType* type);
typedef OSErr(PI_CALL* GetSimpleReferenceProc)(PIReadDescriptor token,
                                               PIDescriptorSimpleReference* reference);
typedef OSErr(PI_CALL* GetObjectProc)(PIReadDescriptor token, DescType* type, PIDescriptorHandle* object);
typedef OSErr(PI_CALL* GetCountProc)(PIReadDescriptor token, uint32_t* count);
typedef OSErr(PI_CALL* GetStringProc)(PIReadDescriptor token, Str255* text);
typedef OSErr(PI_CALL* GetPinnedIntegerProc)(PIReadDescriptor token, int32_t minimum, int32_t maximum,
                                             int32_t* value);
typedef OSErr(PI_CALL* GetPinnedFloatProc)(PIReadDescriptor token, const double* minimum,
                                           const double* maximum, double* value);
typedef OSErr(PI_CALL* GetPinnedUnitFloatProc)(PIReadDescriptor token, const double* minimum,
                                               const double* maximum, DescriptorUnitID* unit,
                                               double* value);

constexpr int16_t kCurrentWriteDescriptorProcsVersion = 0;
constexpr int16_t kCurrentWriteDescriptorProcsCount = 16;
constexpr int16_t kCurrentReadDescriptorProcsVersion = 0;
constexpr int16_t kCurrentReadDescriptorProcsCount = 18;
constexpr int16_t kCurrentDescriptorParametersVersion = 0;

struct WriteDescriptorProcs {
  int16_t writeDescriptorProcsVersion;
  int16_t numWriteDescriptorProcs;
  OpenWriteDescriptorProc openWriteDescriptorProc;
  CloseWriteDescriptorProc closeWriteDescriptorProc;
  PutIntegerProc putIntegerProc;
  PutFloatProc putFloatProc;
  PutUnitFloatProc putUnitFloatProc;
  PutBooleanProc putBooleanProc;
  PutTextProc putTextProc;
  PutAliasProc putAliasProc;
  PutEnumeratedProc putEnumeratedProc;
  PutClassProc putClassProc;
  PutSimpleReferenceProc putSimpleReferenceProc;
  PutObjectProc putObjectProc;
  PutCountProc putCountProc;
  PutStringProc putStringProc;
  PutScopedClassProc putScopedClassProc;
  PutScopedObjectProc putScopedObjectProc;
};

struct ReadDescriptorProcs {
  int16_t readDescriptorProcsVersion;
  int16_t numReadDescriptorProcs;
  OpenReadDescriptorProc openReadDescriptorProc;
  CloseReadDescriptorProc closeReadDescriptorProc;
  GetKeyProc getKeyProc;
  GetIntegerProc getIntegerProc;
  GetFloatProc getFloatProc;
  GetUnitFloatProc getUnitFloatProc;
  GetBooleanProc getBooleanProc;
  GetTextProc getTextProc;
  GetAliasProc getAliasProc;
  GetEnumeratedProc getEnumeratedProc;
  GetClassProc getClassProc;
  GetSimpleReferenceProc getSimpleReferenceProc;
  GetObjectProc getObjectProc;
  GetCountProc getCountProc;
  GetStringProc getStringProc;
  GetPinnedIntegerProc getPinnedIntegerProc;
  GetPinnedFloatProc getPinnedFloatProc;
  GetPinnedUnitFloatProc getPinnedUnitFloatProc;
};

struct PIDescriptorParameters {
  int16_t descriptorParametersVersion;
  int16_t playInfo;    // plugInDialogDontDisplay / Display / Silent
  int16_t recordInfo;  // plugInDialogOptional / Required / None
  PIDescriptorHandle descriptor;
  WriteDescriptorProcs* writeDescriptorProcs;
  ReadDescriptorProcs* readDescriptorProcs;
};

// ---------------------------------------------------------------------------
// Pixels shown by displayPixels

struct PSPixelMask {
  PSPixelMask* next;
  void* maskData;
  int32_t rowBytes;
  int32_t colBytes;
  int32_t maskDescription;
};

struct PSPixelOverlay {
  PSPixelOverlay* next;
  void* data;
  int32_t rowBytes;
  int32_t colBytes;
  uint8_t red;
  uint8_t green;
  uint8_t blue;
  uint8_t opacity;
  int32_t overlayAlgorithm;
};

struct PSPixelMap {
  int32_t version;  // 1: the fields up to maskPhaseCol; 2 adds the rest
  VRect bounds;
  int32_t imageMode;
  int32_t rowBytes;
  int32_t colBytes;
  int32_t planeBytes;
  void* baseAddr;
  // version 1
  PSPixelMask* mat;
  PSPixelMask* masks;
  int32_t maskPhaseRow;
  int32_t maskPhaseCol;
  // version 2
  PSPixelOverlay* pixelOverlays;
  uint32_t colorManagementOptions;
};

typedef OSErr(PI_CALL* DisplayPixelsProc)(const PSPixelMap* source, const VRect* sourceRect,
                                          int32_t destinationRow, int32_t destinationColumn,
                                          void* platformContext);

// Suites the record points to that this system never uses: declared only so
// that the pointer fields have their published types.
struct ResourceProcs;
struct ImageServicesProcs;
struct PropertyProcs;
struct ChannelPortProcs;
struct ReadImageDocumentDesc;
struct SPBasicSuite;

// ---------------------------------------------------------------------------
// The filter record, packed to 4 bytes.

#pragma pack(push, 4)
struct FilterRecord {
  int32_t serialNumber;  // obsolete, 0
  TestAbortProc abortProc;
  ProgressProc progressProc;
  Handle parameters;
  Point imageSize;
  int16_t planes;
  Rect filterRect;
  RGBColor background;
  RGBColor foreground;
  int32_t maxSpace;
  int32_t bufferSpace;
  Rect inRect;
  int16_t inLoPlane;
  int16_t inHiPlane;
  Rect outRect;
  int16_t outLoPlane;
  int16_t outHiPlane;
  void* inData;
  int32_t inRowBytes;
  void* outData;
  int32_t outRowBytes;
  Boolean isFloating;
  Boolean haveMask;
  Boolean autoMask;
  Rect maskRect;
  void* maskData;
  int32_t maskRowBytes;
  FilterColor backColor;
  FilterColor foreColor;
  OSType hostSig;
  HostProc hostProc;
  int16_t imageMode;
  Fixed imageHRes;
  Fixed imageVRes;
  Point floatCoord;
  Point wholeSize;
  PlugInMonitor monitor;
  void* platformData;  // PlatformData* on Windows
  BufferProcs* bufferProcs;
  ResourceProcs* resourceProcs;
  ProcessEventProc processEvent;
  DisplayPixelsProc displayPixels;
  HandleProcs* handleProcs;

  // Interface version 3.
  Boolean supportsDummyChannels;
  Boolean supportsAlternateLayouts;
  int16_t wantLayout;
  int16_t filterCase;
  int16_t dummyPlaneValue;
  void* premiereHook;
  AdvanceStateProc advanceState;
  Boolean supportsAbsolute;
  Boolean wantsAbsolute;
  GetPropertyProc getPropertyObsolete;
  Boolean cannotUndo;
  Boolean supportsPadding;
  int16_t inputPadding;
  int16_t outputPadding;
  int16_t maskPadding;
  char samplingSupport;
  char reservedByte;
  Fixed inputRate;
  Fixed maskRate;
  ColorServicesProc colorServices;

  // Layer layout.
  int16_t inLayerPlanes;
  int16_t inTransparencyMask;
  int16_t inLayerMasks;
  int16_t inInvertedLayerMasks;
  int16_t inNonLayerPlanes;
  int16_t outLayerPlanes;
  int16_t outTransparencyMask;
  int16_t outLayerMasks;
  int16_t outInvertedLayerMasks;
  int16_t outNonLayerPlanes;
  int16_t absLayerPlanes;
  int16_t absTransparencyMask;
  int16_t absLayerMasks;
  int16_t absInvertedLayerMasks;
  int16_t absNonLayerPlanes;
  int16_t inPreDummyPlanes;
  int16_t inPostDummyPlanes;
  int16_t outPreDummyPlanes;
  int16_t outPostDummyPlanes;
  int32_t inColumnBytes;
  int32_t inPlaneBytes;
  int32_t outColumnBytes;
  int32_t outPlaneBytes;

  // Interface version 3.0.5 and 4.
  ImageServicesProcs* imageServicesProcs;
  PropertyProcs* propertyProcs;
  int16_t inTileHeight;
  int16_t inTileWidth;
  Point inTileOrigin;
  int16_t absTileHeight;
  int16_t absTileWidth;
  Point absTileOrigin;
  int16_t outTileHeight;
  int16_t outTileWidth;
  Point outTileOrigin;
  int16_t maskTileHeight;
  int16_t maskTileWidth;
  Point maskTileOrigin;
  PIDescriptorParameters* descriptorParameters;
  Str255* errorString;
  ChannelPortProcs* channelPortProcs;
  ReadImageDocumentDesc* documentInfo;

  // Interface version 5.
  SPBasicSuite* sSPBasic;
  void* plugInRef;
  int32_t depth;

  // Interface version 6.
  Handle iCCprofileData;
  int32_t iCCprofileSize;
  int32_t canUseICCProfiles;

  // Later hosts. This system reads none of these; a host zeroes them.
  int32_t hasImageScrap;
  void* bigDocumentData;
  void* input3DScene;
  void* output3DScene;
  Boolean createNewLayer;
  Handle iCCWorkingProfileData;
  int32_t iCCWorkingProfileSize;
  int64_t bufferSpace64;
  int64_t maxSpace64;
  // Room for fields of still later hosts, so that a host built on this
  // declaration never hands out a record shorter than a plug-in expects.
  char reserved[256];
};
#pragma pack(pop)

// The entry point every filter module exports under the name "PluginMain".
typedef void(PI_CALL* PluginEntryProc)(int16_t selector, FilterRecord* filterRecord, intptr_t* data,
                                       int16_t* result);
constexpr const char* kPluginEntryName = "PluginMain";

// ---------------------------------------------------------------------------
// Offsets of the 64-bit layout, as real hosts lay the record out.

#if INTPTR_MAX == INT64_MAX
#define PI_CHECK_OFFSET(type, field, offset) \
  static_assert(offsetof(type, field) == (offset), #type "::" #field " is at the wrong offset")
PI_CHECK_OFFSET(FilterRecord, abortProc, 4);
PI_CHECK_OFFSET(FilterRecord, progressProc, 12);
PI_CHECK_OFFSET(FilterRecord, parameters, 20);
PI_CHECK_OFFSET(FilterRecord, imageSize, 28);
PI_CHECK_OFFSET(FilterRecord, planes, 32);
PI_CHECK_OFFSET(FilterRecord, filterRect, 34);
PI_CHECK_OFFSET(FilterRecord, background, 42);
PI_CHECK_OFFSET(FilterRecord, foreground, 48);
PI_CHECK_OFFSET(FilterRecord, maxSpace, 56);
PI_CHECK_OFFSET(FilterRecord, bufferSpace, 60);
PI_CHECK_OFFSET(FilterRecord, inRect, 64);
PI_CHECK_OFFSET(FilterRecord, inLoPlane, 72);
PI_CHECK_OFFSET(FilterRecord, inHiPlane, 74);
PI_CHECK_OFFSET(FilterRecord, outRect, 76);
PI_CHECK_OFFSET(FilterRecord, outLoPlane, 84);
PI_CHECK_OFFSET(FilterRecord, inData, 88);
PI_CHECK_OFFSET(FilterRecord, inRowBytes, 96);
PI_CHECK_OFFSET(FilterRecord, outData, 100);
PI_CHECK_OFFSET(FilterRecord, outRowBytes, 108);
PI_CHECK_OFFSET(FilterRecord, isFloating, 112);
PI_CHECK_OFFSET(FilterRecord, haveMask, 113);
PI_CHECK_OFFSET(FilterRecord, maskRect, 116);
PI_CHECK_OFFSET(FilterRecord, maskData, 124);
PI_CHECK_OFFSET(FilterRecord, maskRowBytes, 132);
PI_CHECK_OFFSET(FilterRecord, backColor, 136);
PI_CHECK_OFFSET(FilterRecord, foreColor, 140);
PI_CHECK_OFFSET(FilterRecord, hostSig, 144);
PI_CHECK_OFFSET(FilterRecord, hostProc, 148);
PI_CHECK_OFFSET(FilterRecord, imageMode, 156);
PI_CHECK_OFFSET(FilterRecord, imageHRes, 160);
PI_CHECK_OFFSET(FilterRecord, floatCoord, 168);
PI_CHECK_OFFSET(FilterRecord, monitor, 176);
PI_CHECK_OFFSET(FilterRecord, platformData, 216);
PI_CHECK_OFFSET(FilterRecord, bufferProcs, 224);
PI_CHECK_OFFSET(FilterRecord, resourceProcs, 232);
PI_CHECK_OFFSET(FilterRecord, processEvent, 240);
PI_CHECK_OFFSET(FilterRecord, displayPixels, 248);
PI_CHECK_OFFSET(FilterRecord, handleProcs, 256);
PI_CHECK_OFFSET(FilterRecord, supportsDummyChannels, 264);
PI_CHECK_OFFSET(FilterRecord, wantLayout, 266);
PI_CHECK_OFFSET(FilterRecord, filterCase, 268);
PI_CHECK_OFFSET(FilterRecord, premiereHook, 272);
PI_CHECK_OFFSET(FilterRecord, advanceState, 280);
PI_CHECK_OFFSET(FilterRecord, supportsAbsolute, 288);
PI_CHECK_OFFSET(FilterRecord, getPropertyObsolete, 292);
PI_CHECK_OFFSET(FilterRecord, cannotUndo, 300);
PI_CHECK_OFFSET(FilterRecord, supportsPadding, 301);
PI_CHECK_OFFSET(FilterRecord, inputPadding, 302);
PI_CHECK_OFFSET(FilterRecord, outputPadding, 304);
PI_CHECK_OFFSET(FilterRecord, maskPadding, 306);
PI_CHECK_OFFSET(FilterRecord, samplingSupport, 308);
PI_CHECK_OFFSET(FilterRecord, inputRate, 312);
PI_CHECK_OFFSET(FilterRecord, maskRate, 316);
PI_CHECK_OFFSET(FilterRecord, colorServices, 320);
PI_CHECK_OFFSET(FilterRecord, inLayerPlanes, 328);
PI_CHECK_OFFSET(FilterRecord, inNonLayerPlanes, 336);
PI_CHECK_OFFSET(FilterRecord, outLayerPlanes, 338);
PI_CHECK_OFFSET(FilterRecord, outTransparencyMask, 340);
PI_CHECK_OFFSET(FilterRecord, absLayerPlanes, 348);
PI_CHECK_OFFSET(FilterRecord, inPreDummyPlanes, 358);
PI_CHECK_OFFSET(FilterRecord, outPostDummyPlanes, 364);
PI_CHECK_OFFSET(FilterRecord, inColumnBytes, 368);
PI_CHECK_OFFSET(FilterRecord, outPlaneBytes, 380);
PI_CHECK_OFFSET(FilterRecord, imageServicesProcs, 384);
PI_CHECK_OFFSET(FilterRecord, propertyProcs, 392);
PI_CHECK_OFFSET(FilterRecord, inTileHeight, 400);
PI_CHECK_OFFSET(FilterRecord, outTileHeight, 416);
PI_CHECK_OFFSET(FilterRecord, maskTileOrigin, 428);
PI_CHECK_OFFSET(FilterRecord, descriptorParameters, 432);
PI_CHECK_OFFSET(FilterRecord, errorString, 440);
PI_CHECK_OFFSET(FilterRecord, channelPortProcs, 448);
PI_CHECK_OFFSET(FilterRecord, documentInfo, 456);
PI_CHECK_OFFSET(FilterRecord, sSPBasic, 464);
PI_CHECK_OFFSET(FilterRecord, plugInRef, 472);
PI_CHECK_OFFSET(FilterRecord, depth, 480);
PI_CHECK_OFFSET(FilterRecord, iCCprofileData, 484);
PI_CHECK_OFFSET(FilterRecord, iCCprofileSize, 492);
PI_CHECK_OFFSET(FilterRecord, canUseICCProfiles, 496);
PI_CHECK_OFFSET(FilterRecord, hasImageScrap, 500);
PI_CHECK_OFFSET(FilterRecord, bigDocumentData, 504);
PI_CHECK_OFFSET(FilterRecord, createNewLayer, 528);
PI_CHECK_OFFSET(FilterRecord, iCCWorkingProfileData, 532);
PI_CHECK_OFFSET(FilterRecord, bufferSpace64, 544);
PI_CHECK_OFFSET(FilterRecord, maxSpace64, 552);
static_assert(sizeof(FilterRecord) == 560 + 256, "FilterRecord has the wrong size");

// The suites keep natural alignment: the first procedure follows the two
// 16-bit words at offset 8.
PI_CHECK_OFFSET(BufferProcs, allocateProc, 8);
PI_CHECK_OFFSET(BufferProcs, spaceProc, 40);
static_assert(sizeof(BufferProcs) == 48, "BufferProcs has the wrong size");
PI_CHECK_OFFSET(HandleProcs, newProc, 8);
PI_CHECK_OFFSET(HandleProcs, disposeRegularHandleProc, 64);
static_assert(sizeof(HandleProcs) == 72, "HandleProcs has the wrong size");
PI_CHECK_OFFSET(PIDescriptorParameters, descriptor, 8);
PI_CHECK_OFFSET(PIDescriptorParameters, writeDescriptorProcs, 16);
PI_CHECK_OFFSET(PIDescriptorParameters, readDescriptorProcs, 24);
PI_CHECK_OFFSET(ReadDescriptorProcs, openReadDescriptorProc, 8);
PI_CHECK_OFFSET(ReadDescriptorProcs, getEnumeratedProc, 80);
static_assert(sizeof(ReadDescriptorProcs) == 8 + 18 * 8, "ReadDescriptorProcs has the wrong size");
PI_CHECK_OFFSET(WriteDescriptorProcs, openWriteDescriptorProc, 8);
PI_CHECK_OFFSET(WriteDescriptorProcs, putEnumeratedProc, 72);
static_assert(sizeof(WriteDescriptorProcs) == 8 + 16 * 8, "WriteDescriptorProcs has the wrong size");
PI_CHECK_OFFSET(PSPixelMap, bounds, 4);
PI_CHECK_OFFSET(PSPixelMap, imageMode, 20);
PI_CHECK_OFFSET(PSPixelMap, baseAddr, 40);
PI_CHECK_OFFSET(PSPixelMap, mat, 48);
PI_CHECK_OFFSET(PSPixelMap, maskPhaseRow, 64);
PI_CHECK_OFFSET(PSPixelMap, pixelOverlays, 72);
#undef PI_CHECK_OFFSET
#endif

static_assert(sizeof(Point) == 4 && sizeof(Rect) == 8 && sizeof(VRect) == 16, "16-bit geometry");
static_assert(sizeof(RGBColor) == 6 && sizeof(PlugInMonitor) == 40, "colour records");
static_assert(fourCharCode("8BIM") == 0x3842494Du, "first character in the top byte");
