#include "effects/QDEffectCatalogue.h"

#include <cstring>

#include "document/QDOriginalImage.h"
#include "effects/QDEffectAutoFix.h"
#include "effects/QDEffectAutoLevels.h"
#include "effects/QDEffectBalance.h"
#include "effects/QDEffectBlur.h"
#include "effects/QDEffectBorder.h"
#include "effects/QDEffectBrick.h"
#include "effects/QDEffectBrightness.h"
#include "effects/QDEffectCartoon.h"
#include "effects/QDEffectContrast.h"
#include "effects/QDEffectCrop.h"
#include "effects/QDEffectCropSimple.h"
#include "effects/QDEffectCurves.h"
#include "effects/QDEffectExposure.h"
#include "effects/QDEffectFactoryDefault.h"
#include "effects/QDEffectFisheye.h"
#include "effects/QDEffectFlip.h"
#include "effects/QDEffectFocusFix.h"
#include "effects/QDEffectFrame.h"
#include "effects/QDEffectGradient.h"
#include "effects/QDEffectGreyScale.h"
#include "effects/QDEffectHue.h"
#include "effects/QDEffectLevels.h"
#include "effects/QDEffectLiquidResize.h"
#include "effects/QDEffectNegative.h"
#include "effects/QDEffectNoise.h"
#include "effects/QDEffectOilPaint.h"
#include "effects/QDEffectPixelate.h"
#include "effects/QDEffectPresetFilters.h"
#include "effects/QDEffectResize.h"
#include "effects/QDEffectRotate.h"
#include "effects/QDEffectSaturation.h"
#include "effects/QDEffectSepia.h"
#include "effects/QDEffectSharpen.h"
#include "effects/QDEffectTemperature.h"
#include "effects/QDEffectTint.h"
#include "effects/QDEffectVignette.h"
#include "effects/QDEffectVintage.h"

namespace
{
// Registration order. Columns: command id, class, display name, description, icon, type key, tab,
// batch, element name, toolbar label, toolbar tip, toolbar icon, factory.
const QDEffectCatalogueRow kRows[] = {
    {6002, "QDEffectBrick", "Brick", "Brick pattern", 641, "brick", "Creative", false, nullptr, nullptr,
     nullptr, 0, QDMakeEffectFactory<QDEffectBrick>},
    {6003, "QDEffectBrightness", "Brightness", "Brighten or darken colors", 642, "brightness", "Color", true,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectBrightness>},
    {6001, "QDEffectBalance", "Color Balance", "Adjust the colors of shadows, midtones, and highlights", 638,
     "balance", "Color", false, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectBalance>},
    {6005, "QDEffectContrast", "Contrast", "Adjust the range of brightness extremities", 649, "contrast",
     "Color", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectContrast>},
    {6008, "QDEffectExposure", "Exposure", "Simulate over-exposing a photograph", 654, "exposure", "Color",
     false, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectExposure>},
    {6010, "QDEffectCurves", "Color Curves", "Adjust colors with curves", 651, "curves", "Color", true,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectCurves>},
    {6011, "QDEffectAutoLevels", "Auto Levels", "Automatically balance brightness and contrast", 636,
     "autolevels", "Color", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectAutoLevels>},
    {6012, "QDEffectAutoFix", "Auto Fix", "Automatic color and contrast corrections", 635, "autofix",
     "Retouch", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectAutoFix>},
    {6013, "QDEffectLevels", "Levels", "Adjust the intensity levels of an image", 666, "levels", "Color",
     true, "Color Levels", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectLevels>},
    {6014, "QDEffectSaturation", "Saturation", "Make colors more or less intense", 685, "saturation", "Color",
     true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectSaturation>},
    {6015, "QDEffectGradient", "Gradient Map", "Map pixel intensity to a color gradient", 660, "gradient",
     "Color", true, "Gradient Mapping", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectGradient>},
    {6016, "QDEffectHue", "Hue", "Rotate color hues", 663, "hue", "Color", true, nullptr, nullptr, nullptr, 0,
     QDMakeEffectFactory<QDEffectHue>},
    {6017, "QDEffectTint", "Tint", "Tint with a color", 691, "tint", "Color", true, nullptr, nullptr, nullptr,
     0, QDMakeEffectFactory<QDEffectTint>},
    {6018, "QDEffectTemperature", "Temperature", "Make colors warmer or cooler", 689, "temperature", "Color",
     true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectTemperature>},
    {6019, "QDEffectNegative", "Negative", "Invert all colors", 426, "negative", "Filters", true, nullptr,
     nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectNegative>},
    {6020, "QDEffectSepia", "Sepia", "Simulate an old sepia photograph", 427, "sepia", "Filters", true,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectSepia>},
    {6021, "QDEffectGreyScale", "Grayscale", "Convert to black and white", 661, "grayscale", "Filters", true,
     nullptr, nullptr, nullptr, 428, QDMakeEffectFactory<QDEffectGreyScale>},
    {6022, "QDEffectBlur", "Blur", "Reduce noise and detail", 640, "blur", "Effects", true, nullptr, nullptr,
     nullptr, 0, QDMakeEffectFactory<QDEffectBlur>},
    {6023, "QDEffectSharpen", "Sharpen", "Make edges sharper", 688, "sharpen", "Effects", true, nullptr,
     nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectSharpen>},
    {6061, "QDEffectFocusFix", "Focus Fix", "Sharpen out of focus images", 688, "focusfix", "Retouch", false,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectFocusFix>},
    {6025, "QDEffectFisheye", "Lens Distortion", "Reduce or increase lens distortion", 656, "fisheye",
     "Effects", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectFisheye>},
    {6027, "QDEffectPixelate", "Pixelate", "Pixelate the image", 677, "pixelate", "Effects", false, nullptr,
     nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectPixelate>},
    {6029, "QDEffectChromaKey", "Color Removal", "Remove a color from the image", 437, "colorremoval",
     "Tools", true, nullptr, nullptr, nullptr, 644, nullptr},
    {6033, "QDEffectVignette", "Vignette", "Add an elliptical border with soft edges", 693, "vignette",
     "Effects", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectVignette>},
    {6034, "QDEffectVintage", "Vintage", "Give your photo a vintage look", 454, "vintage", "Filters", false,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectVintage>},
    {6044, "QDEffectNoise", "Noise Reduction", "Reduce noise present in low light photos", 671, "noise",
     "Retouch", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectNoise>},
    {6052, "QDEffectColorBoost", "Color Boost", "More vibrant colors", 449, "colorboost", "Filters", false,
     "Color Boost Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectColorBoost>},
    {6053, "QDEffectBlueify", "Electric", "Add vibrance with an extra boost for blue colors", 448, "electric",
     "Filters", false, "Electric Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectBlueify>},
    {6054, "QDEffectAqua", "Aqua", "Add a blue and yellow tint", 446, "aqua", "Filters", false, "Aqua Filter",
     nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectAqua>},
    {6055, "QDEffectRedwood", "Redwood", "Add shades of maroon and yellow", 452, "redwood", "Filters", false,
     "Redwood Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectRedwood>},
    {6056, "QDEffectSunglow", "Sunglow", "Add a light yellow tint and a vignette", 453, "sunglow", "Filters",
     false, "Sunglow Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectSunglow>},
    {6057, "QDEffectAmber", "Amber", "Use a purple and orange color scheme", 445, "amber", "Filters", false,
     "Amber Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectAmber>},
    {6058, "QDEffectOrchid", "Orchid Light", "Light orange center with a purple vignette", 451, "orchid",
     "Filters", false, "Orchid Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectOrchid>},
    {6059, "QDEffectNocturnal", "Nocturnal", "Use dark and desaturated blue colors", 450, "nocturnal",
     "Filters", false, "Nocturnal Filter", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectNocturnal>},
    {6038, "QDEffectFlip", "Flip", "Choose between flipping the image horizontally, vertically or both.", 657,
     "flip", "Edit", true, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectFlip>},
    {6000, "QDEffectBorder", "Border", "Add a colored border around an image", 439, "border", "Tools", true,
     nullptr, "Border", "Create a simple border around your image", 658, QDMakeEffectFactory<QDEffectBorder>},
    {6007, "QDEffectCropSimple", "Crop", "Change the aspect ratio", 650, "cropsimple", nullptr, true,
     "Simple Crop", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectCropSimple>},
    {6040, "QDEffectResizeSimple", "Resize", "Resize the image", 683, "resizesimple", nullptr, true,
     "Simple Resize", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectResizeSimple>},
    {6031, "QDEffectRotateSimple", "Rotate", "Rotate the image", 684, "simple rotate", nullptr, true,
     "Rotate", nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectRotateSimple>},
    {6037, "QDEffectCrop", "Crop", "Crop the current image", 650, "crop", "Edit", false, nullptr, nullptr,
     nullptr, 0, QDMakeEffectFactory<QDEffectCrop>},
    {6039, "QDEffectResize", "Resize", "Resize the canvas and layers", 373, "resize", "Edit", false, nullptr,
     nullptr, "Resize the canvas and layers", 683, QDMakeSpecialFactory<QDEffectResizeFactory>},
    {6041, "QDEffectLiquidResize", "Liquid Resize", "Content aware image resizing (seam carving)", 667,
     "liquidresize", "Edit", false, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectLiquidResize>},
    {6024, "QDEffectLocalFocus", "Local Focus", "Simulate shallow depth-of-field", 668, "localfocus",
     "Effects", false, nullptr, nullptr, nullptr, 0, nullptr},
    {6004, "QDEffectCartoon", "Cartoon", "Make your image look like a cartoon", 643, "cartoon", "Creative",
     false, nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectCartoon>},
    {6028, "QDEffectOilPaint", "Oil Paint", "Oil Paint the image", 672, "oilpaint", "Creative", false,
     nullptr, nullptr, nullptr, 0, QDMakeEffectFactory<QDEffectOilPaint>},
    {6009, "QDEffectEmbroidery", "Embroidery", "Create an embroidery pattern", 653, "embroidery", "Creative",
     false, nullptr, nullptr, nullptr, 0, nullptr},
    {6026, "QDEffectPaint", "Paint", "Paint by Numbers", 675, "paint", "Creative", false, "Paint by Numbers",
     "Paint by #", nullptr, 0, nullptr},
    {6042, "QDEffectRotate", "Rotate", "Rotate the image", 375, "rotate", "Edit", false, nullptr, nullptr,
     nullptr, 684, QDMakeSpecialFactory<QDEffectRotateFactory>},
    {6045, "QDEffectClone", "Clone Tool", "Duplicate parts of your image with a brush tool", 646, "clone",
     "Retouch", false, nullptr, nullptr, nullptr, 0, nullptr},
    {6046, "QDEffectDraw", "Draw Tool", "Draw on the photo", 652, "draw", "Tools", false, nullptr, nullptr,
     nullptr, 0, nullptr},
    {6060, "QDEffectColorize", "Colorize", "Add color with a brush", 648, "colorize", "Retouch", false,
     nullptr, nullptr, nullptr, 0, nullptr},
    {6032, "QDEffectTouchUp", "Touch Up", "Cover one region of an image with another region", 692, "touchup",
     "Retouch", false, nullptr, nullptr, nullptr, 0, nullptr},
    {6030, "QDEffectRedEye", "Red-Eye", "Correct red eyes from a flash photograph", 681, "redeye", "Retouch",
     false, "Red Eye", nullptr, nullptr, 0, nullptr},
    {6047, "QDEffectWarp", "Warp", "Distort the image", 695, "warp", "Effects", false, nullptr, nullptr,
     nullptr, 0, nullptr},
    {6035, "QDOriginalImage", "Original Image", "Insert an image into the current project", 408,
     "original_image", nullptr, false, nullptr, nullptr, nullptr, 0,
     QDMakeSpecialFactory<QDOriginalImageFactory>},
    {6036, "QDOverlayImage", "Image", "Insert an image into the current project", 408, "image", "Tools",
     false, "Overlay Image", nullptr, nullptr, 664, nullptr},
    {6043, "QDOverlayText", "Text", "Insert text into the current project", 413, "text", "Tools", false,
     nullptr, nullptr, nullptr, 690, nullptr},
    {6006, "QDEffectCropSelection", "Crop Selected", "Crop out all unselected areas", 372, "cropselect",
     nullptr, false, "Crop Selection", nullptr, nullptr, 0, nullptr},
    {6048, "QDEffectFill", "Fill Selection", "Fill the selected area with a color", 637, "fill", nullptr,
     false, "Fill", nullptr, nullptr, 0, nullptr},
    {6049, "QDEffectRegion", "Regional Effects", "Add effects to parts of the image", 682, "region",
     "Effects, Tools", false, nullptr, nullptr, nullptr, 0, nullptr},
    {6050, "QDEffectCollage", "Create Collage...", "Create a collage from several photos", 647, "collage",
     nullptr, false, "Collage", nullptr, nullptr, 0, nullptr},
    {6051, "QDEffectFrame", "Frame", "Add Image Frame...", 359, "frame", nullptr, false, nullptr, nullptr,
     nullptr, 0, QDMakeSpecialFactory<QDEffectFrameFactory>},
};

constexpr int kEditTab[] = {6037, 6042, 6038, 6039, 6041, 0, 2021};
constexpr int kColorTab[] = {6003, 6005, 6008, 0, 6011, 6013, 6010, 6001, 0, 6016, 6014, 6018, 6017, 6015, 0};
constexpr int kFiltersTab[] = {6021, 6020, 6019, 0, 6034, 6052, 6056, 0,
                               6055, 6053, 6054, 0, 6058, 6057, 6059, 0};
constexpr int kEffectsTab[] = {6049, 0, 6022, 6023, 6027, 6033, 6024, 6025, 6047, 0};
constexpr int kToolsTab[] = {2021, 0, 6043, 6046, 6036, 6000, 6029, 0, 6049};
constexpr int kRetouchTab[] = {6012, 6061, 6044, 0, 6030, 6032, 6045, 6060, 0, 2021};
constexpr int kCreativeTab[] = {2062, 2063, 2066, 0, 6004, 6028, 6002, 0, 6026, 6009, 0};
constexpr int kHomeItems[] = {6037, 6039, 6042, 6036};
constexpr int kSelectItems[] = {6037};

const QDToolbarTab kTabs[] = {
    {"Edit", 2082, kEditTab},         {"Color", 2084, kColorTab}, {"Filters", 2102, kFiltersTab},
    {"Effects", 2085, kEffectsTab},   {"Tools", 2086, kToolsTab}, {"Retouch", 2103, kRetouchTab},
    {"Creative", 2104, kCreativeTab},
};

const QDEffectMenuEntry kMenuEntries[] = {
    {"Edit", 6037, "Crop"},
    {"Edit", 6038, "Flip"},
    {"Edit", 6039, "Resize"},
    {"Edit", 6041, "Liquid Resize"},
    {"Edit", 6042, "Rotate"},
    {"Tools", 6043, "Insert Text"},
    {"Tools", 6036, "Insert Image"},
    {"Tools", 6046, "Draw Tool"},
    {"Tools", 6060, "Colorize"},
    {"Tools", 6045, "Clone Tool"},
    {"Tools", 6032, "Touch Up"},
    {"Tools", 6030, "Red-Eye Reduction"},
    {"Tools", 6047, "Warp Tool"},
    // These two follow the batch and collage entries of the menu.
    {"Tools", 6009, "Embroidery"},
    {"Tools", 6026, "Paint by Numbers"},
};
} // namespace

std::span<const QDEffectCatalogueRow> QDEffectCatalogueRows()
{
    return kRows;
}

const QDEffectCatalogueRow* QDEffectCatalogueFind(int commandId)
{
    for (const QDEffectCatalogueRow& row : kRows)
        if (row.iCommandId == commandId)
            return &row;
    return nullptr;
}

const QDEffectCatalogueRow* QDEffectCatalogueFindType(const char* typeIdentifier)
{
    for (const QDEffectCatalogueRow& row : kRows)
        if (typeIdentifier && strcmp(row.szTypeIdentifier, typeIdentifier) == 0)
            return &row;
    return nullptr;
}

const char* QDEffectTypeIdentifier(int commandId)
{
    const QDEffectCatalogueRow* row = QDEffectCatalogueFind(commandId);
    return row ? row->szTypeIdentifier : "";
}

const char* QDEffectElementName(int commandId)
{
    const QDEffectCatalogueRow* row = QDEffectCatalogueFind(commandId);
    return row ? row->GetElementName() : "";
}

QDEffectFactory* QDEffectCatalogue::AddEffectFactory(QDEffectFactory* factory, int commandId)
{
    factory->iCommandId = commandId;
    lFactories.AddTail(factory);
    return factory;
}

void QDEffectCatalogue::Register()
{
    if (!lFactories.IsEmpty())
        return;
    for (const QDEffectCatalogueRow& row : kRows)
        if (row.fnCreateFactory)
            AddEffectFactory(row.fnCreateFactory(row), row.iCommandId);
    for (size_t i = 0; i < std::size(kQDSpecialFactoryIds); ++i)
        arSpecialFactories[i] = MapCommandIdToEffectFactory(kQDSpecialFactoryIds[i]);
    for (int id : kQDBatchOrder)
        if (QDEffectFactory* f = MapCommandIdToEffectFactory(id))
            vBatchFactories.push_back(f);
}

QDEffectFactory* QDEffectCatalogue::MapCommandIdToEffectFactory(int commandId) const
{
    return ::MapCommandIdToEffectFactory(lFactories, commandId);
}

QDEffectFactory* QDEffectCatalogue::MapTypeIdToEffectFactory(const char* typeIdentifier) const
{
    return ::MapTypeIdToEffectFactory(lFactories, typeIdentifier);
}

std::span<const QDToolbarTab> QDEffectToolbarTabs()
{
    return kTabs;
}

std::span<const int> QDEffectHomeTabItems()
{
    return kHomeItems;
}

std::span<const int> QDEffectSelectTabItems()
{
    return kSelectItems;
}

std::span<const QDEffectMenuEntry> QDEffectMenuEntries()
{
    return kMenuEntries;
}
