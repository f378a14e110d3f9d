// Missing glyphs noted while drawing and loaded from fallback fonts that fontconfig picks.
#include "glimgui_fonts.h"

#include "gltext.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace
{

// Debian builds ImGui with a 16-bit ImWchar: code points beyond U+FFFF need stand-ins there.
constexpr bool NarrowWchar = sizeof(ImWchar) == 2;
constexpr char32_t StandInFirst = 0xE000;
constexpr char32_t StandInLast = 0xF8FF;
constexpr char32_t Replacement = 0xFFFD;
constexpr const char* LastResortFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
// Atlas entries of ours carry this prefix in their name, so that a cleared atlas is noticed.
constexpr const char* Tag = "glfd-fallback ";

bool IsPrivateUse(char32_t CodePoint)
{
    return CodePoint >= StandInFirst && CodePoint <= StandInLast;
}

bool LoadableFile(const std::string& File)
{
    const auto endsWith = [&File](const char* Suffix)
    {
        const std::size_t length = std::strlen(Suffix);
        return File.size() >= length && strcasecmp(File.c_str() + File.size() - length, Suffix) == 0;
    };
    return endsWith(".ttf") || endsWith(".otf") || endsWith(".ttc") || endsWith(".otc");
}

// A font of a fontconfig pattern that ImGui's rasteriser can load: scalable, outlines, a TrueType
// or OpenType file. Colour bitmap fonts (colour emoji) are not.
bool Usable(FcPattern* Pattern, std::string& File, int& Face)
{
    FcChar8* file = nullptr;
    FcBool scalable = FcTrue;
    FcBool colour = FcFalse;
    if (FcPatternGetString(Pattern, FC_FILE, 0, &file) != FcResultMatch || file == nullptr)
    {
        return false;
    }
    FcPatternGetBool(Pattern, FC_SCALABLE, 0, &scalable);
#ifdef FC_COLOR
    FcPatternGetBool(Pattern, FC_COLOR, 0, &colour);
#endif
    File = reinterpret_cast<const char*>(file);
    Face = 0;
    FcPatternGetInteger(Pattern, FC_INDEX, 0, &Face);
    return scalable == FcTrue && colour == FcFalse && LoadableFile(File);
}

// Ascender minus descender over the em, as ImGui's rasteriser sizes a font by the former.
float CellPerEm(FT_Library Library, const std::string& File, int Face)
{
    FT_Face face = nullptr;
    if (Library == nullptr || FT_New_Face(Library, File.c_str(), Face, &face) != 0)
    {
        return 0.0F;
    }
    float ratio = 0.0F;
    if (face->units_per_EM > 0)
    {
        ratio = static_cast<float>(face->ascender - face->descender) / static_cast<float>(face->units_per_EM);
    }
    FT_Done_Face(face);
    return ratio;
}

} // namespace

// fontconfig's ordered list of fonts for sans-serif text (every font, best first), and FreeType.
struct GLImGuiGlyphs::Library
{
    FcFontSet* Sorted = nullptr;
    FT_Library FreeType = nullptr;
    float MainCellPerEm = 0.0F;

    Library()
    {
        if (FcInit() == FcTrue)
        {
            FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("sans-serif"));
            FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
            FcDefaultSubstitute(pattern);
            FcResult result = FcResultNoMatch;
            Sorted = FcFontSort(nullptr, pattern, FcFalse, nullptr, &result);
            FcPatternDestroy(pattern);
        }
        if (FT_Init_FreeType(&FreeType) != 0)
        {
            FreeType = nullptr;
        }
    }
    ~Library()
    {
        if (Sorted != nullptr)
        {
            FcFontSetDestroy(Sorted);
        }
        if (FreeType != nullptr)
        {
            FT_Done_FreeType(FreeType);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    Library(Library&&) = delete;
    Library& operator=(Library&&) = delete;
};

// One fallback font: the code points taken from it and how it is sized next to the main font.
struct GLImGuiGlyphs::Fallback
{
    std::string File;
    int Face = 0;
    float SizeScale = 1.0F;
    std::set<char32_t> CodePoints;    // loaded through the atlas's own rasteriser
    std::set<char32_t> StandInGlyphs; // code points beyond U+FFFF, rasterised here (16-bit ImWchar)
    std::vector<ImWchar> Ranges;      // CodePoints as ImGui's glyph ranges; the atlas points here
    std::string Name;                 // the atlas entry's name
};

GLImGuiGlyphs::GLImGuiGlyphs() = default;
GLImGuiGlyphs::~GLImGuiGlyphs() = default;

char32_t GLImGuiGlyphs::StandInFor(char32_t CodePoint)
{
    const auto found = StandIns.find(CodePoint);
    if (found != StandIns.end())
    {
        return found->second;
    }
    const char32_t next = StandInFirst + static_cast<char32_t>(StandIns.size());
    if (next > StandInLast)
    {
        return Replacement;
    }
    StandIns.emplace(CodePoint, next);
    StandInOwners.emplace(next, CodePoint);
    return next;
}

void GLImGuiGlyphs::Prepare(const std::string& Text, bool bName, const ImFont* Font, std::string& Out)
{
    // Names by the one rule that keeps them from hiding or breaking a row; other texts (a field
    // being edited) only as valid UTF-8.
    if (bName)
    {
        Out = GLVisibleName(Text);
    }
    else
    {
        Out = Text;
    }
    bool bAllAscii = true;
    for (const char c : Out)
    {
        bAllAscii = bAllAscii && static_cast<unsigned char>(c) < 0x80U;
    }
    if (bAllAscii || Font == nullptr)
    {
        return;
    }
    std::string mapped;
    mapped.reserve(Out.size());
    std::size_t index = 0;
    while (index < Out.size())
    {
        const GLUtf8Char character = GLDecodeUtf8(Out, index);
        index += character.Length;
        const char32_t codePoint = character.bValid ? character.CodePoint : Replacement;
        char32_t drawn = codePoint;
        if (NarrowWchar && codePoint > 0xFFFFU)
        {
            drawn = StandInFor(codePoint);
        }
        else if (NarrowWchar && IsPrivateUse(codePoint))
        {
            drawn = Replacement;
        }
        if (drawn >= 0x20U && Font->FindGlyphNoFallback(static_cast<ImWchar>(drawn)) == nullptr)
        {
            MissingDrawn.insert(codePoint);
            if (Noted.insert(codePoint).second)
            {
                Pending.push_back(codePoint);
            }
        }
        GLAppendUtf8(mapped, drawn);
    }
    Out = std::move(mapped);
}

std::vector<char32_t> GLImGuiGlyphs::PendingCodePoints() const
{
    return Pending;
}

GLImGuiGlyphs::Fallback* GLImGuiGlyphs::FindFallback(char32_t CodePoint)
{
    if (!Fonts)
    {
        Fonts = std::make_unique<Library>();
        if (!MainFontFile.empty())
        {
            Fonts->MainCellPerEm = CellPerEm(Fonts->FreeType, MainFontFile, 0);
        }
    }
    if (Fonts->Sorted == nullptr)
    {
        return nullptr;
    }
    // The desktop's order of preference: the first font in fontconfig's list that has the glyph.
    for (int i = 0; i < Fonts->Sorted->nfont; ++i)
    {
        FcPattern* pattern = Fonts->Sorted->fonts[i];
        FcCharSet* charset = nullptr;
        std::string file;
        int face = 0;
        if (FcPatternGetCharSet(pattern, FC_CHARSET, 0, &charset) != FcResultMatch ||
            FcCharSetHasChar(charset, CodePoint) != FcTrue || !Usable(pattern, file, face))
        {
            continue;
        }
        std::unique_ptr<Fallback>& fallback = Fallbacks[file + "#" + std::to_string(face)];
        if (!fallback)
        {
            fallback = std::make_unique<Fallback>();
            fallback->File = file;
            fallback->Face = face;
            fallback->Name = Tag + std::to_string(Fallbacks.size());
            const float cellPerEm = CellPerEm(Fonts->FreeType, file, face);
            if (Fonts->MainCellPerEm > 0.0F && cellPerEm > 0.0F)
            {
                fallback->SizeScale = std::clamp(cellPerEm / Fonts->MainCellPerEm, 0.75F, 1.5F);
            }
        }
        return fallback.get();
    }
    return nullptr;
}

bool GLImGuiGlyphs::IsLoaded(const ImFontAtlas& Atlas, const ImFont* Target) const
{
    if (LoadedInto != Target)
    {
        return false;
    }
    for (const auto& entry : Fallbacks)
    {
        if (entry.second->CodePoints.empty())
        {
            continue;
        }
        const std::string& name = entry.second->Name;
        bool bFound = false;
        for (const ImFontConfig& config : Atlas.ConfigData)
        {
            bFound = bFound || (config.DstFont == Target && name == config.Name);
        }
        if (!bFound)
        {
            return false;
        }
    }
    return true;
}

bool GLImGuiGlyphs::AddMissingGlyphs(ImFontAtlas& Atlas, ImFont* Target)
{
    if (Target == nullptr || Atlas.Locked)
    {
        return false;
    }
    bool bChanged = !IsLoaded(Atlas, Target) && !Fallbacks.empty();
    for (const char32_t codePoint : Pending)
    {
        Fallback* fallback = FindFallback(codePoint);
        if (fallback == nullptr)
        {
            continue; // no font has it: it stays the font's fallback glyph
        }
        if (NarrowWchar && codePoint > 0xFFFFU)
        {
            fallback->StandInGlyphs.insert(codePoint);
        }
        else
        {
            fallback->CodePoints.insert(codePoint);
        }
        bChanged = true;
    }
    Pending.clear();
    if (!bChanged)
    {
        return false;
    }

    const float size = Target->ConfigData != nullptr ? Target->ConfigData->SizePixels : Target->FontSize;
    for (auto& entry : Fallbacks)
    {
        Fallback& fallback = *entry.second;
        if (fallback.CodePoints.empty())
        {
            continue;
        }
        fallback.Ranges.clear();
        for (const char32_t codePoint : fallback.CodePoints)
        {
            fallback.Ranges.push_back(static_cast<ImWchar>(codePoint));
            fallback.Ranges.push_back(static_cast<ImWchar>(codePoint));
        }
        fallback.Ranges.push_back(0);
        ImFontConfig* existing = nullptr;
        for (ImFontConfig& config : Atlas.ConfigData)
        {
            existing = (config.DstFont == Target && fallback.Name == config.Name) ? &config : existing;
        }
        if (existing != nullptr)
        {
            existing->GlyphRanges = fallback.Ranges.data();
            continue;
        }
        ImFontConfig config;
        config.MergeMode = true;
        config.DstFont = Target;
        config.FontNo = fallback.Face;
        config.OversampleH = Target->ConfigData != nullptr ? Target->ConfigData->OversampleH : 2;
        std::snprintf(config.Name, sizeof(config.Name), "%s", fallback.Name.c_str());
        Atlas.AddFontFromFileTTF(fallback.File.c_str(), std::round(size * fallback.SizeScale), &config,
                                 fallback.Ranges.data());
    }
    AddStandInGlyphs(Atlas, Target);
    Atlas.Build();
    DrawStandInGlyphs(Atlas);
    LoadedInto = Target;
    return true;
}

void GLImGuiGlyphs::AddStandInGlyphs(ImFontAtlas& Atlas, ImFont* Target)
{
    if (!NarrowWchar || !Fonts || Fonts->FreeType == nullptr)
    {
        return;
    }
    const float size = Target->ConfigData != nullptr ? Target->ConfigData->SizePixels : Target->FontSize;
    for (auto& entry : Fallbacks)
    {
        Fallback& fallback = *entry.second;
        if (fallback.StandInGlyphs.empty())
        {
            continue;
        }
        FT_Face face = nullptr;
        if (FT_New_Face(Fonts->FreeType, fallback.File.c_str(), fallback.Face, &face) != 0)
        {
            continue;
        }
        // Sized as ImGui sizes fonts: ascender minus descender is the requested height.
        FT_Size_RequestRec request{};
        request.type = FT_SIZE_REQUEST_TYPE_CELL;
        request.height = static_cast<FT_Long>(std::lround(size * fallback.SizeScale * 64.0F));
        FT_Request_Size(face, &request);
        for (const char32_t codePoint : fallback.StandInGlyphs)
        {
            const char32_t standIn = StandInFor(codePoint);
            StandInBitmap& bitmap = Bitmaps[standIn];
            if (bitmap.Size != size)
            {
                // A new font size (another monitor scale): rasterised again, placed again.
                bitmap = StandInBitmap{};
                bitmap.Size = size;
            }
            if (bitmap.Alpha.empty() && FT_Load_Char(face, codePoint, FT_LOAD_RENDER) == 0)
            {
                const FT_GlyphSlot slot = face->glyph;
                bitmap.Width = static_cast<int>(slot->bitmap.width);
                bitmap.Height = static_cast<int>(slot->bitmap.rows);
                bitmap.Advance = static_cast<float>(slot->advance.x) / 64.0F;
                bitmap.Offset = ImVec2(static_cast<float>(slot->bitmap_left),
                                       std::round(Target->Ascent) - static_cast<float>(slot->bitmap_top));
                bitmap.Alpha.resize(static_cast<std::size_t>(bitmap.Width) *
                                    static_cast<std::size_t>(bitmap.Height));
                for (int y = 0; y < bitmap.Height; ++y)
                {
                    const unsigned char* row =
                        slot->bitmap.buffer + static_cast<std::ptrdiff_t>(y) * slot->bitmap.pitch;
                    std::copy(row, row + bitmap.Width,
                              bitmap.Alpha.begin() + static_cast<std::ptrdiff_t>(y) * bitmap.Width);
                }
            }
            if (bitmap.Width <= 0 || bitmap.Height <= 0)
            {
                continue;
            }
            const bool bPlaced = bitmap.Rect >= 0 && bitmap.Rect < Atlas.CustomRects.Size &&
                                 Atlas.CustomRects[bitmap.Rect].GlyphID == standIn &&
                                 Atlas.CustomRects[bitmap.Rect].Font == Target;
            if (!bPlaced)
            {
                bitmap.Rect =
                    Atlas.AddCustomRectFontGlyph(Target, static_cast<ImWchar>(standIn), bitmap.Width,
                                                 bitmap.Height, bitmap.Advance, bitmap.Offset);
            }
        }
        FT_Done_Face(face);
    }
}

void GLImGuiGlyphs::DrawStandInGlyphs(ImFontAtlas& Atlas)
{
    if (Bitmaps.empty())
    {
        return;
    }
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    Atlas.GetTexDataAsAlpha8(&pixels, &width, &height);
    for (const auto& entry : Bitmaps)
    {
        const StandInBitmap& bitmap = entry.second;
        const ImFontAtlasCustomRect* rect =
            bitmap.Rect >= 0 ? Atlas.GetCustomRectByIndex(bitmap.Rect) : nullptr;
        if (pixels == nullptr || rect == nullptr || rect->X + bitmap.Width > width ||
            rect->Y + bitmap.Height > height)
        {
            continue;
        }
        for (int y = 0; y < bitmap.Height; ++y)
        {
            std::copy_n(bitmap.Alpha.begin() + static_cast<std::ptrdiff_t>(y) * bitmap.Width, bitmap.Width,
                        pixels + static_cast<std::ptrdiff_t>(rect->Y + y) * width + rect->X);
        }
    }
}

std::string GLImGuiGlyphs::DefaultFontFile(int& Face)
{
    Face = 0;
    std::string file;
    if (FcInit() == FcTrue)
    {
        FcPattern* pattern = FcNameParse(reinterpret_cast<const FcChar8*>("sans-serif"));
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result = FcResultNoMatch;
        FcPattern* match = FcFontMatch(nullptr, pattern, &result);
        if (match != nullptr && !Usable(match, file, Face))
        {
            file.clear();
        }
        if (match != nullptr)
        {
            FcPatternDestroy(match);
        }
        FcPatternDestroy(pattern);
    }
    if (file.empty())
    {
        std::FILE* last = std::fopen(LastResortFont, "rb");
        if (last != nullptr)
        {
            std::fclose(last);
            file = LastResortFont;
        }
    }
    return file;
}
