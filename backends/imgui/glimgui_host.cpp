#include "glimgui_host.h"

#include "glimgui_text.h"
#include "glimgui_view.h"

#include <imgui.h>
#include <imgui_impl_glfw.h>
#include <imgui_impl_opengl3.h>

#include <GLFW/glfw3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{

constexpr const char* FontPath = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr float FontPixels = 15.0F;
constexpr float BuiltInFontPixels = 13.0F;
constexpr int DefaultWidth = 860;
constexpr int DefaultHeight = 560;

// Latin, Latin Extended, Greek and Cyrillic, punctuation, arrows and the replacement character.
constexpr ImWchar GlyphRanges[] = {
    0x0020, 0x024F, // Basic Latin, Latin-1, Latin Extended-A and -B
    0x0300, 0x036F, // combining marks (decomposed accents in file names)
    0x0370, 0x03FF, // Greek
    0x0400, 0x052F, // Cyrillic and its supplement
    0x1E00, 0x1FFF, // Latin Extended Additional, Greek Extended
    0x2000, 0x206F, // general punctuation
    0x20A0, 0x20CF, // currency
    0x2190, 0x21FF, // arrows
    0xFFFD, 0xFFFD, // shown for bytes that are not UTF-8
    0,
};

// The last error GLFW reported, for the one-line reason when no window can be opened.
std::string LastGlfwError;

void RecordGlfwError(int /*Code*/, const char* Description)
{
    LastGlfwError = Description != nullptr ? Description : "unknown error";
}

// What the GLFW callbacks collect between frames; reached through the window's user pointer.
struct HostInput
{
    std::vector<GLImGuiInputEvent> Events;
    bool bActivity = true;
    bool bScaleChanged = false;
};

HostInput& InputOf(GLFWwindow* Window)
{
    return *static_cast<HostInput*>(glfwGetWindowUserPointer(Window));
}

GLKey TranslateKey(int Key)
{
    switch (Key)
    {
    case GLFW_KEY_UP:
        return GLKey::Up;
    case GLFW_KEY_DOWN:
        return GLKey::Down;
    case GLFW_KEY_LEFT:
        return GLKey::Left;
    case GLFW_KEY_RIGHT:
        return GLKey::Right;
    case GLFW_KEY_PAGE_UP:
        return GLKey::PageUp;
    case GLFW_KEY_PAGE_DOWN:
        return GLKey::PageDown;
    case GLFW_KEY_HOME:
        return GLKey::Home;
    case GLFW_KEY_END:
        return GLKey::End;
    case GLFW_KEY_ENTER:
    case GLFW_KEY_KP_ENTER:
        return GLKey::Enter;
    case GLFW_KEY_ESCAPE:
        return GLKey::Escape;
    case GLFW_KEY_BACKSPACE:
        return GLKey::Backspace;
    case GLFW_KEY_DELETE:
        return GLKey::Delete;
    case GLFW_KEY_TAB:
        return GLKey::Tab;
    default:
        return GLKey::None;
    }
}

void OnKey(GLFWwindow* Window, int Key, int /*ScanCode*/, int Action, int Mods)
{
    HostInput& input = InputOf(Window);
    input.bActivity = true;
    // Ctrl+H is the one letter shortcut (hidden entries); letters otherwise arrive as text.
    const bool bCtrlH = Key == GLFW_KEY_H && (Mods & GLFW_MOD_CONTROL) != 0;
    const GLKey key = bCtrlH ? GLKey::H : TranslateKey(Key);
    if (Action == GLFW_RELEASE || key == GLKey::None)
    {
        return;
    }
    GLImGuiInputEvent event;
    event.Key = key;
    event.Mods.bShift = (Mods & GLFW_MOD_SHIFT) != 0;
    event.Mods.bCtrl = (Mods & GLFW_MOD_CONTROL) != 0;
    event.Mods.bAlt = (Mods & GLFW_MOD_ALT) != 0;
    input.Events.push_back(std::move(event));
}

void OnChar(GLFWwindow* Window, unsigned int CodePoint)
{
    HostInput& input = InputOf(Window);
    input.bActivity = true;
    GLImGuiInputEvent event;
    AppendUtf8(event.Text, CodePoint);
    input.Events.push_back(std::move(event));
}

void OnMouseButton(GLFWwindow* Window, int /*Button*/, int /*Action*/, int /*Mods*/)
{
    InputOf(Window).bActivity = true;
}

void OnScroll(GLFWwindow* Window, double /*X*/, double /*Y*/)
{
    InputOf(Window).bActivity = true;
}

void OnCursorPos(GLFWwindow* Window, double /*X*/, double /*Y*/)
{
    InputOf(Window).bActivity = true;
}

void OnFramebufferSize(GLFWwindow* Window, int /*Width*/, int /*Height*/)
{
    InputOf(Window).bActivity = true;
}

void OnRefresh(GLFWwindow* Window)
{
    InputOf(Window).bActivity = true;
}

void OnContentScale(GLFWwindow* Window, float /*X*/, float /*Y*/)
{
    HostInput& input = InputOf(Window);
    input.bActivity = true;
    input.bScaleChanged = true;
}

bool IsReadable(const char* Path)
{
    std::FILE* file = std::fopen(Path, "rb");
    if (file == nullptr)
    {
        return false;
    }
    std::fclose(file);
    return true;
}

// Builds the font and the style for the monitor's content scale. Glyphs are rasterised at device
// pixels and drawn at 1/ratio where the platform's framebuffer is denser than window units, so
// text stays sharp either way.
void ApplyScale(GLFWwindow* Window)
{
    float scaleX = 1.0F;
    float scaleY = 1.0F;
    glfwGetWindowContentScale(Window, &scaleX, &scaleY);
    const float contentScale = scaleY > 0.0F ? scaleY : 1.0F;
    int windowWidth = 0;
    int windowHeight = 0;
    int pixelWidth = 0;
    int pixelHeight = 0;
    glfwGetWindowSize(Window, &windowWidth, &windowHeight);
    glfwGetFramebufferSize(Window, &pixelWidth, &pixelHeight);
    const float pixelRatio =
        windowWidth > 0
            ? std::max(1.0F, std::round(static_cast<float>(pixelWidth) / static_cast<float>(windowWidth)))
            : 1.0F;

    ImGuiIO& io = ImGui::GetIO();
    io.Fonts->Clear();
    ImFont* font = nullptr;
    if (IsReadable(FontPath))
    {
        ImFontConfig config;
        config.OversampleH = 2;
        font = io.Fonts->AddFontFromFileTTF(FontPath, std::round(FontPixels * contentScale), &config,
                                            GlyphRanges);
    }
    if (font == nullptr)
    {
        ImFontConfig config;
        config.SizePixels = std::round(BuiltInFontPixels * contentScale);
        io.Fonts->AddFontDefault(&config);
    }
    io.FontGlobalScale = 1.0F / pixelRatio;

    ImGuiStyle style;
    ImGui::StyleColorsLight(&style);
    style.FrameRounding = 3.0F;
    style.FrameBorderSize = 1.0F;
    style.FramePadding = ImVec2(6.0F, 4.0F);
    style.CellPadding = ImVec2(6.0F, 3.0F);
    style.ItemSpacing = ImVec2(8.0F, 6.0F);
    style.ScrollbarSize = 16.0F;
    style.GrabMinSize = 24.0F;
    // Hovering only tints a row, so that it never reads as a second selection.
    ImVec4 accent = style.Colors[ImGuiCol_Header];
    style.Colors[ImGuiCol_Header] = ImVec4(accent.x, accent.y, accent.z, 0.40F);
    style.Colors[ImGuiCol_HeaderHovered] = ImVec4(accent.x, accent.y, accent.z, 0.12F);
    style.Colors[ImGuiCol_HeaderActive] = ImVec4(accent.x, accent.y, accent.z, 0.25F);
    style.ScaleAllSizes(contentScale / pixelRatio);
    ImGui::GetStyle() = style;
}

// Owns the window, the GL context and the ImGui context; tears them down in order.
class HostSession
{
public:
    HostSession() { PreviousErrorCallback = glfwSetErrorCallback(RecordGlfwError); }
    ~HostSession()
    {
        if (bImGuiRenderer)
        {
            ImGui_ImplOpenGL3_Shutdown();
        }
        if (bImGuiPlatform)
        {
            ImGui_ImplGlfw_Shutdown();
        }
        if (bImGuiContext)
        {
            ImGui::DestroyContext();
        }
        if (Window != nullptr)
        {
            glfwDestroyWindow(Window);
        }
        if (bGlfw)
        {
            glfwTerminate();
        }
        glfwSetErrorCallback(PreviousErrorCallback);
    }
    HostSession(const HostSession&) = delete;
    HostSession& operator=(const HostSession&) = delete;
    HostSession(HostSession&&) = delete;
    HostSession& operator=(HostSession&&) = delete;

    // Opens the window and readies ImGui; on failure sets Error and returns false.
    bool Open(const std::string& Title, HostInput& Input, std::string& Error)
    {
        LastGlfwError.clear();
        bGlfw = glfwInit() == GLFW_TRUE;
        if (!bGlfw)
        {
            Error = LastGlfwError.empty() ? std::string("the window system could not be initialised")
                                          : LastGlfwError;
            return false;
        }
        glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
        glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 0);
        glfwWindowHint(GLFW_SCALE_TO_MONITOR, GLFW_TRUE);
        Window = glfwCreateWindow(DefaultWidth, DefaultHeight, Title.c_str(), nullptr, nullptr);
        if (Window == nullptr)
        {
            Error =
                "no OpenGL 3 window" + (LastGlfwError.empty() ? std::string() : " (" + LastGlfwError + ")");
            return false;
        }
        glfwMakeContextCurrent(Window);
        glfwSwapInterval(1);

        glfwSetWindowUserPointer(Window, &Input);
        // Installed before ImGui's, which call these first-installed ones in turn.
        glfwSetKeyCallback(Window, OnKey);
        glfwSetCharCallback(Window, OnChar);
        glfwSetMouseButtonCallback(Window, OnMouseButton);
        glfwSetScrollCallback(Window, OnScroll);
        glfwSetCursorPosCallback(Window, OnCursorPos);
        glfwSetFramebufferSizeCallback(Window, OnFramebufferSize);
        glfwSetWindowRefreshCallback(Window, OnRefresh);
        glfwSetWindowContentScaleCallback(Window, OnContentScale);

        IMGUI_CHECKVERSION();
        ImGui::CreateContext();
        bImGuiContext = true;
        ImGuiIO& io = ImGui::GetIO();
        // The dialog keeps no settings and writes no files.
        io.IniFilename = nullptr;
        io.LogFilename = nullptr;
        bImGuiPlatform = ImGui_ImplGlfw_InitForOpenGL(Window, true);
        bImGuiRenderer = bImGuiPlatform && ImGui_ImplOpenGL3_Init("#version 130");
        if (!bImGuiRenderer)
        {
            Error = "OpenGL 3 is not available";
            return false;
        }
        ApplyScale(Window);
        return true;
    }

    GLFWwindow* Window = nullptr;

private:
    GLFWerrorfun PreviousErrorCallback = nullptr;
    bool bGlfw = false;
    bool bImGuiContext = false;
    bool bImGuiPlatform = false;
    bool bImGuiRenderer = false;
};

bool DumpLayoutRequested()
{
    const char* value = std::getenv("GLFD_DEBUG_LAYOUT");
    return value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
}

} // namespace

GLHostResult RunImGuiHost(GLChildWindow& Host, std::string& Error)
{
    if (Host.Content == nullptr)
    {
        Error = "there is nothing to show";
        return GLHostResult::Unavailable;
    }
    HostInput input;
    HostSession session;
    std::string title = SanitizeUtf8(Host.EffectiveTitle());
    if (!session.Open(title, input, Error))
    {
        return GLHostResult::Unavailable;
    }
    GLFWwindow* window = session.Window;
    GLImGuiView view;
    view.bDumpLayout = DumpLayoutRequested();

    // Frames are drawn while input arrives and for a few frames after it (ImGui settles hover,
    // scrolling and table sizes a frame late); an idle dialog sleeps in the event wait.
    constexpr int SettleFrames = 3;
    int busyFrames = 0;
    std::vector<GLImGuiInputEvent> events;
    while (true)
    {
        if (busyFrames > 0)
        {
            glfwPollEvents();
        }
        else
        {
            // A focused text field needs frames for its caret to blink.
            glfwWaitEventsTimeout(ImGui::GetIO().WantTextInput ? 0.25 : 1.0);
        }
        if (glfwWindowShouldClose(window) == GLFW_TRUE)
        {
            return GLHostResult::Closed;
        }
        if (input.bActivity)
        {
            busyFrames = SettleFrames;
            input.bActivity = false;
        }
        if (input.bScaleChanged)
        {
            input.bScaleChanged = false;
            ApplyScale(window);
            ImGui_ImplOpenGL3_DestroyFontsTexture();
            ImGui_ImplOpenGL3_CreateFontsTexture();
        }
        events.swap(input.Events);

        ImGui_ImplOpenGL3_NewFrame();
        ImGui_ImplGlfw_NewFrame();
        ImGui::NewFrame();
        view.Frame(*Host.Content, events, glfwGetTime());
        events.clear();
        ImGui::Render();
        if (!Host.bVisible)
        {
            return GLHostResult::Finished;
        }

        std::string nextTitle = SanitizeUtf8(Host.EffectiveTitle());
        if (nextTitle != title)
        {
            title = std::move(nextTitle);
            glfwSetWindowTitle(window, title.c_str());
        }
        int pixelWidth = 0;
        int pixelHeight = 0;
        glfwGetFramebufferSize(window, &pixelWidth, &pixelHeight);
        glViewport(0, 0, pixelWidth, pixelHeight);
        const ImVec4 background = ImGui::GetStyle().Colors[ImGuiCol_WindowBg];
        glClearColor(background.x, background.y, background.z, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        ImGui_ImplOpenGL3_RenderDrawData(ImGui::GetDrawData());
        glfwSwapBuffers(window);
        if (busyFrames > 0)
        {
            --busyFrames;
        }
    }
}
