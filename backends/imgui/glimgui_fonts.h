// Text for ImGui's fonts: names made drawable, missing glyphs noted and loaded from fallback fonts.
#pragma once

#include <imgui.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Turns the dialog's texts into UTF-8 that ImGui can draw with the current font, notes the code
// points that font lacks, and loads them on request from fallback fonts that fontconfig picks (as
// a desktop does), so that the font atlas grows only by the glyphs names really use. Where ImGui
// was built with a 16-bit ImWchar (Debian's build), code points beyond U+FFFF (most emoji) are
// drawn through stand-ins in the Private Use Area whose glyphs are rasterised from the fallback
// font; real private-use characters then draw as U+FFFD, so a stand-in never passes for a name.
class GLImGuiGlyphs
{
public:
    GLImGuiGlyphs();
    ~GLImGuiGlyphs();
    GLImGuiGlyphs(const GLImGuiGlyphs&) = delete;
    GLImGuiGlyphs& operator=(const GLImGuiGlyphs&) = delete;
    GLImGuiGlyphs(GLImGuiGlyphs&&) = delete;
    GLImGuiGlyphs& operator=(GLImGuiGlyphs&&) = delete;

    // Writes into Out what to hand ImGui for Text drawn with Font (through GLVisibleName when
    // bName is true, so that no name hides or breaks a row) and notes the code points Font
    // cannot draw.
    void Prepare(const std::string& Text, bool bName, const ImFont* Font, std::string& Out);

    // Starts a frame: forgets which code points the last frame drew without a glyph.
    void BeginFrame() { MissingDrawn.clear(); }
    // Code points drawn since BeginFrame that the font had no glyph for (its fallback glyph was drawn).
    const std::set<char32_t>& MissingThisFrame() const { return MissingDrawn; }

    // Code points noted as missing and not yet looked for in the fallback fonts.
    std::vector<char32_t> PendingCodePoints() const;

    // Between frames: merges glyphs for the pending code points into Target (a font of Atlas)
    // from fallback fonts and rebuilds the atlas. Returns true when the atlas changed, so that the
    // renderer must upload its texture again. Glyphs loaded earlier are loaded again after the
    // atlas was cleared (a new font size, say).
    bool AddMissingGlyphs(ImFontAtlas& Atlas, ImFont* Target);

    // The font file a desktop would use for sans-serif text (fontconfig's first match that ImGui
    // can load; Face is its index in a collection), or DejaVu Sans when fontconfig finds none;
    // empty when neither exists.
    static std::string DefaultFontFile(int& Face);

    // The main font's file, when known: fallback fonts are then sized to its em, as a desktop does.
    std::string MainFontFile;

private:
    struct Fallback; // one fallback font file: its code points and its atlas entry
    struct Library;  // fontconfig's candidate list and FreeType, opened on first use

    char32_t StandInFor(char32_t CodePoint);
    Fallback* FindFallback(char32_t CodePoint);
    bool IsLoaded(const ImFontAtlas& Atlas, const ImFont* Target) const;
    void AddStandInGlyphs(ImFontAtlas& Atlas, ImFont* Target);
    void DrawStandInGlyphs(ImFontAtlas& Atlas);

    // A glyph beyond U+FFFF, rasterised here and placed in the atlas as a custom rectangle.
    struct StandInBitmap
    {
        float Size = 0.0F; // the font size it was rasterised for
        int Width = 0;
        int Height = 0;
        float Advance = 0.0F;
        ImVec2 Offset;
        std::vector<unsigned char> Alpha;
        int Rect = -1; // index among the atlas's custom rectangles
    };

    std::unordered_set<char32_t> Noted;                   // looked for already, or queued
    std::vector<char32_t> Pending;                        // noted, not looked for yet
    std::set<char32_t> MissingDrawn;                      // drawn this frame without a glyph
    std::unordered_map<char32_t, char32_t> StandIns;      // code point beyond U+FFFF -> private-use stand-in
    std::unordered_map<char32_t, char32_t> StandInOwners; // stand-in -> code point
    std::map<std::string, std::unique_ptr<Fallback>> Fallbacks; // by file and face
    std::unordered_map<char32_t, StandInBitmap> Bitmaps;        // by stand-in
    std::unique_ptr<Library> Fonts;
    const ImFont* LoadedInto = nullptr;
};
