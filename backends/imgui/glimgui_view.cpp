// Drawing a GLWindow's widgets with ImGui's public API, and feeding them ImGui's input.
#include "glimgui_view.h"

#include "glbutton.h"
#include "glchildwindow.h"
#include "glchoice.h"
#include "glimgui_convert.h"
#include "glimgui_fonts.h"
#include "gllabel.h"
#include "gltableview.h"
#include "gltext.h"
#include "gltextinput.h"

#include <imgui.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace
{

bool SameRect(const GLRect& A, const GLRect& B)
{
    return A.X == B.X && A.Y == B.Y && A.Width == B.Width && A.Height == B.Height;
}

// Named keys became ImGuiKey values in 1.87; before that they went through the host's key map.
bool KeyPressed(ImGuiKey Key)
{
#if IMGUI_VERSION_NUM >= 18700
    return ImGui::IsKeyPressed(Key, true);
#else
    const int index = ImGui::GetKeyIndex(Key);
    return index >= 0 && ImGui::IsKeyPressed(index, true);
#endif
}

#if IMGUI_VERSION_NUM >= 18700
constexpr ImGuiKey KeypadEnter = ImGuiKey_KeypadEnter;
#else
constexpr ImGuiKey KeypadEnter = ImGuiKey_KeyPadEnter;
#endif

// Ctrl+H (hidden entries), the one letter shortcut; letters otherwise arrive as text. Letter keys
// have ImGuiKey names from 1.87; before, the GLFW and Win32 bindings index them by the letter.
bool CtrlHPressed()
{
    if (!ImGui::GetIO().KeyCtrl)
    {
        return false;
    }
#if IMGUI_VERSION_NUM >= 18700
    return ImGui::IsKeyPressed(ImGuiKey_H, false);
#else
    return ImGui::IsKeyPressed('H', false);
#endif
}

// The keys the widgets understand, as ImGui names them.
struct KeyMapping
{
    ImGuiKey ImGuiName;
    GLKey Key;
};
constexpr KeyMapping Keys[] = {
    {ImGuiKey_UpArrow, GLKey::Up},     {ImGuiKey_DownArrow, GLKey::Down},
    {ImGuiKey_LeftArrow, GLKey::Left}, {ImGuiKey_RightArrow, GLKey::Right},
    {ImGuiKey_PageUp, GLKey::PageUp},  {ImGuiKey_PageDown, GLKey::PageDown},
    {ImGuiKey_Home, GLKey::Home},      {ImGuiKey_End, GLKey::End},
    {ImGuiKey_Enter, GLKey::Enter},    {KeypadEnter, GLKey::Enter},
    {ImGuiKey_Escape, GLKey::Escape},  {ImGuiKey_Backspace, GLKey::Backspace},
    {ImGuiKey_Delete, GLKey::Delete},  {ImGuiKey_Tab, GLKey::Tab},
    {ImGuiKey_Tab, GLKey::H}, // checked as Ctrl+H, below
};

// The field's text as ImGui may hold it: valid UTF-8, each byte that is not as U+FFFD.
std::string EditableText(const std::string& Bytes)
{
    std::string out;
    out.reserve(Bytes.size());
    std::size_t offset = 0;
    while (offset < Bytes.size())
    {
        const GLUtf8Char character = GLDecodeUtf8(Bytes, offset);
        if (character.bValid)
        {
            out.append(Bytes, offset, character.Length);
        }
        else
        {
            GLAppendUtf8(out, 0xFFFD);
        }
        offset += character.Length;
    }
    return out;
}

// What the text input callback needs to see the program's own changes while ImGui edits.
struct TextInputContext
{
    const GLTextInput* Input;
    std::string* Shown;
    std::string* Buffer;
};

// While the field is being edited, a text the program set (say, after Enter navigated) replaces
// ImGui's copy; it is not reported back as an edit. The buffer is a std::string that grows as
// ImGui asks.
int SyncProgramText(ImGuiInputTextCallbackData* Data)
{
    const auto* context = static_cast<const TextInputContext*>(Data->UserData);
    if (Data->EventFlag == ImGuiInputTextFlags_CallbackResize)
    {
        context->Buffer->resize(static_cast<std::size_t>(Data->BufTextLen));
        Data->Buf = context->Buffer->data();
        return 0;
    }
    std::string current = EditableText(context->Input->Text);
    if (current != *context->Shown)
    {
        Data->DeleteChars(0, Data->BufTextLen);
        Data->InsertChars(0, current.data(), current.data() + current.size());
        *context->Shown = std::move(current);
    }
    return 0;
}

bool IsTextInput(const GLWidget* Widget)
{
    return Widget != nullptr && Widget->bShown && Widget->Kind() == GLWidgetKind::TextInput;
}

} // namespace

// Draws each widget by its class.
class GLImGuiView::Painter : public GLWidgetVisitor
{
public:
    Painter(GLImGuiView& ForView, GLWindow& ForContent) : View(ForView), Content(ForContent) {}
    void Visit(GLLabel& Label) override
    {
        View.DrawTextIn(Label.Bounds, View.Prepared(Label.Text, true), false);
    }
    void Visit(GLButton& Button) override { View.DrawButton(Content, Button); }
    void Visit(GLTextInput& Input) override { View.DrawTextInput(Content, Input); }
    void Visit(GLTableView& Table) override { View.DrawTable(Content, Table); }
    void Visit(GLChoice& Choice) override { View.DrawChoice(Content, Choice); }

private:
    GLImGuiView& View;
    GLWindow& Content;
};

void GLImGuiView::Draw(GLWindow& Content, bool bTakeKeyboard, double NowSeconds)
{
    if (Glyphs != nullptr)
    {
        Glyphs->BeginFrame();
    }
    UpdateLayout(Content);
    Painter painter(*this, Content);
    for (const auto& child : Content.Children)
    {
        GLWidget* widget = child.get();
        if (!widget->bShown)
        {
            continue;
        }
        ImGui::PushID(widget);
        widget->Accept(painter);
        ImGui::PopID();
    }
    DrawFocusFrame(Content);

    if (RowClick.Table != nullptr)
    {
        const PendingRowClick click = RowClick;
        Queued.emplace_back([click] { click.Table->PressRow(click.Row, click.ClickCount, click.Mods); });
    }
    RowClick = PendingRowClick{};

    if (bTakeKeyboard)
    {
        ApplyKeyboard(Content, NowSeconds);
    }
    if (bDumpLayout)
    {
        DumpLayout(Content);
    }
}

void GLImGuiView::ApplyInput(const GLWindow& Content)
{
    std::vector<std::function<void()>> queued;
    queued.swap(Queued);
    for (const auto& action : queued)
    {
        if (Content.HostWindow != nullptr && !Content.HostWindow->bVisible)
        {
            break;
        }
        action();
    }
}

void GLImGuiView::UpdateLayout(GLWindow& Content)
{
    static constexpr char Sample[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    GLMetrics metrics;
    metrics.LineHeight = ImGui::GetFrameHeight();
    metrics.CharWidth = ImGui::CalcTextSize(Sample).x / static_cast<float>(sizeof(Sample) - 1);
    metrics.Spacing = ImGui::GetStyle().ItemSpacing.x;
    if (metrics.LineHeight != Content.Metrics.LineHeight || metrics.CharWidth != Content.Metrics.CharWidth ||
        metrics.Spacing != Content.Metrics.Spacing)
    {
        Content.SetMetrics(metrics);
    }
    const ImVec2 origin = ImGui::GetCursorScreenPos();
    const ImVec2 available = ImGui::GetContentRegionAvail();
    const GLRect bounds{std::floor(origin.x), std::floor(origin.y), std::max(0.0F, std::floor(available.x)),
                        std::max(0.0F, std::floor(available.y))};
    if (!SameRect(bounds, Content.Bounds))
    {
        Content.SetBounds(bounds);
    }
}

const std::string& GLImGuiView::Prepared(const std::string& Text, bool bName)
{
    if (Glyphs != nullptr)
    {
        Glyphs->Prepare(Text, bName, ImGui::GetFont(), Scratch);
    }
    else
    {
        Scratch = bName ? GLVisibleName(Text) : EditableText(Text);
    }
    return Scratch;
}

// Text inside a box, centred vertically and clipped to it. Drawn directly so that "##" in a
// caption is shown rather than taken as an ImGui id separator.
void GLImGuiView::DrawTextIn(const GLRect& Box, const std::string& Text, bool bCentre)
{
    const char* begin = Text.data();
    const char* end = begin + Text.size();
    const ImVec2 size = ImGui::CalcTextSize(begin, end);
    const float x = bCentre ? Box.X + std::max(0.0F, (Box.Width - size.x) * 0.5F) : Box.X;
    const float y = Box.Y + std::max(0.0F, (Box.Height - size.y) * 0.5F);
    ImDrawList* draw = ImGui::GetWindowDrawList();
    draw->PushClipRect(TopLeft(Box), BottomRight(Box), true);
    draw->AddText(ImVec2(std::floor(x), std::floor(y)), ImGui::GetColorU32(ImGuiCol_Text), begin, end);
    draw->PopClipRect();
}

void GLImGuiView::DrawButton(GLWindow& Content, GLButton& Button)
{
    ImGui::SetCursorScreenPos(TopLeft(Button.Bounds));
    const bool bPressed = ImGui::Button("##button", ImVec2(Button.Bounds.Width, Button.Bounds.Height));
    // Focus moves on press, so the focused text field does not grab the mouse back before release.
    if (ImGui::IsItemActivated())
    {
        Content.SetFocus(&Button);
    }
    DrawTextIn(Button.Bounds, Prepared(Button.Label, true), true);
    if (bPressed)
    {
        Content.SetFocus(&Button);
        GLButton* pressed = &Button;
        Queued.emplace_back([pressed] { pressed->Click(); });
    }
}

void GLImGuiView::DrawChoice(GLWindow& Content, GLChoice& Choice)
{
    // The prefix as a label, then a combo box over the rest of the widget's width.
    const std::string prefix = Prepared(Choice.Prefix, true);
    const float prefixWidth =
        prefix.empty() ? 0.0F : ImGui::CalcTextSize(prefix.c_str()).x + ImGui::GetStyle().ItemSpacing.x;
    if (!prefix.empty())
    {
        DrawTextIn(GLRect{Choice.Bounds.X, Choice.Bounds.Y, prefixWidth, Choice.Bounds.Height}, prefix,
                   false);
    }
    ImGui::SetCursorScreenPos(ImVec2(Choice.Bounds.X + prefixWidth, Choice.Bounds.Y));
    ImGui::SetNextItemWidth(std::max(1.0F, Choice.Bounds.Width - prefixWidth));
    const std::string preview = Prepared(Choice.SelectedText(), true);
    if (ImGui::BeginCombo("##choice", preview.c_str()))
    {
        Content.SetFocus(&Choice);
        for (int index = 0; index < static_cast<int>(Choice.Items.size()); ++index)
        {
            ImGui::PushID(index);
            const std::string& item = Prepared(Choice.Items[static_cast<std::size_t>(index)], true);
            if (ImGui::Selectable(item.c_str(), index == Choice.SelectedIndex))
            {
                GLChoice* chosen = &Choice;
                Queued.emplace_back([chosen, index] { chosen->Choose(index); });
            }
            ImGui::PopID();
        }
        ImGui::EndCombo();
    }
}

void GLImGuiView::DrawTextInput(GLWindow& Content, GLTextInput& Input)
{
    TextInputState& state = TextInputs[&Input];
    const bool bFocused = Content.FocusedWidget == &Input;
    // A field ImGui edits although the focus went elsewhere (Tab, Enter that moved on): a new id
    // makes ImGui drop it, since an active item that is not drawn is no longer active.
    if (!bFocused && state.bWasActive)
    {
        ++state.Generation;
        state.bWasActive = false;
    }
    if (!state.bWasActive)
    {
        state.Shown = EditableText(Input.Text);
        state.Buffer = state.Shown;
        // Keyboard focus on the field means ImGui edits it; wait while the mouse holds another item.
        if (bFocused && !ImGui::IsAnyItemActive() && !ImGui::IsMouseDown(ImGuiMouseButton_Left))
        {
            ImGui::SetKeyboardFocusHere();
        }
    }
    // Names the path holds need their glyphs too; ImGui draws the field's text itself.
    Prepared(state.Buffer, false);
    ImGui::SetCursorScreenPos(TopLeft(Input.Bounds));
    ImGui::SetNextItemWidth(Input.Bounds.Width);
    ImGui::PushID(state.Generation);
    TextInputContext context{&Input, &state.Shown, &state.Buffer};
    ImGui::InputText("##text", state.Buffer.data(), state.Buffer.size() + 1,
                     ImGuiInputTextFlags_CallbackAlways | ImGuiInputTextFlags_CallbackResize,
                     &SyncProgramText, &context);
    ImGui::PopID();
    state.Buffer.resize(std::char_traits<char>::length(state.Buffer.c_str()));
    state.bWasActive = ImGui::IsItemActive();
    if (ImGui::IsItemActivated())
    {
        Content.SetFocus(&Input);
    }
    if (ImGui::IsItemEdited() && state.Buffer != state.Shown)
    {
        state.Shown = state.Buffer;
        Input.EditText(state.Buffer);
    }
}

void GLImGuiView::DrawFocusFrame(const GLWindow& Content)
{
    const GLWidget* focused = Content.FocusedWidget;
    if (focused == nullptr || !focused->bShown)
    {
        return;
    }
    const float thickness = std::max(1.0F, std::round(ImGui::GetFontSize() / 10.0F));
    const GLRect& box = focused->Bounds;
    ImGui::GetWindowDrawList()->AddRect(ImVec2(box.X - thickness, box.Y - thickness),
                                        ImVec2(box.X + box.Width + thickness, box.Y + box.Height + thickness),
                                        ImGui::GetColorU32(ImGuiCol_NavHighlight),
                                        ImGui::GetStyle().FrameRounding, 0, thickness);
}

void GLImGuiView::ApplyKeyboard(GLWindow& Content, double NowSeconds)
{
    // While a text field has the focus, ImGui has already edited it with this frame's input;
    // only the keys that leave or confirm the field (and Alt shortcuts) go to the widgets.
    // Typed text goes first, so that type-ahead followed by Enter opens the row typed.
    GLWindow* content = &Content;
    const ImGuiIO& io = ImGui::GetIO();
    if (!IsTextInput(Content.FocusedWidget))
    {
        for (const ImWchar character : io.InputQueueCharacters)
        {
            std::string text;
            GLAppendUtf8(text, static_cast<char32_t>(character));
            Queued.emplace_back([content, text, NowSeconds]
                                { content->HandleText(text.c_str(), NowSeconds); });
        }
    }
    const GLModifiers mods = CurrentModifiers();
    for (const KeyMapping& mapping : Keys)
    {
        if (mapping.Key == GLKey::H ? !CtrlHPressed() : !KeyPressed(mapping.ImGuiName))
        {
            continue;
        }
        const GLKey key = mapping.Key;
        const bool bLeavesField =
            key == GLKey::Enter || key == GLKey::Escape || key == GLKey::Tab || key == GLKey::H || mods.bAlt;
        Queued.emplace_back(
            [content, key, mods, bLeavesField]
            {
                // Decided when applied: an earlier key may have moved the focus out of the field.
                if (!IsTextInput(content->FocusedWidget) || bLeavesField)
                {
                    content->HandleKey(key, mods);
                }
            });
    }
}

void GLImGuiView::DumpLayout(const GLWindow& Content)
{
    std::string dump = Content.DescribeLayout(
        [this](const GLTableView& Table)
        {
            const auto found = Tables.find(&Table);
            return found != Tables.end() ? found->second.Drawn : std::vector<GLDrawnRow>{};
        });
    // Code points drawn as the font's fallback glyph, for drivers that check names are readable.
    if (Glyphs != nullptr && !Glyphs->MissingThisFrame().empty())
    {
        static constexpr char Hex[] = "0123456789abcdef";
        dump += "missing";
        for (const char32_t codePoint : Glyphs->MissingThisFrame())
        {
            std::string digits;
            for (char32_t value = codePoint; value != 0 || digits.empty(); value >>= 4U)
            {
                digits.insert(digits.begin(), Hex[value & 0xFU]);
            }
            dump += ' ' + digits;
        }
        dump += '\n';
    }
    if (dump == LastDump)
    {
        return;
    }
    LastDump = std::move(dump);
    ++DumpSequence;
    std::fprintf(stderr, "glfd-layout begin %d\n%sglfd-layout end %d\n", DumpSequence, LastDump.c_str(),
                 DumpSequence);
    std::fflush(stderr);
}
