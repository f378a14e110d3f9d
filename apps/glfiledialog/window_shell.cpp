// The chooser's window: GLFW and OpenGL 3 around the ImGui file dialog component.
#include "window_shell.h"

#include "glimgui_filedialog.h"

#include <imgui.h>
#include <imgui_impl_glfw.h>
#include <imgui_impl_opengl3.h>

#include <GLFW/glfw3.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <set>

namespace
{

constexpr float FontPixels = 15.0F;
constexpr float BuiltInFontPixels = 13.0F;
constexpr int DefaultWidth = 860;
constexpr int DefaultHeight = 560;

// What the main font is loaded with up front; other glyphs come in when a name needs them.
constexpr ImWchar BaseGlyphs[] = {
    0x0020, 0x024F, // Basic Latin, Latin-1, Latin Extended-A and -B
    0x2000, 0x206F, // general punctuation
    0xFFFD, 0xFFFD, // the replacement character
    0,
};

// The last error GLFW reported, for the one-line reason when no window can be opened.
std::string LastGlfwError;

void RecordGlfwError(int /*Code*/, const char* Description)
{
    LastGlfwError = Description != nullptr ? Description : "unknown error";
}

// One keyboard or mouse-button event, kept until ImGui can see it: ImGui before 1.87 reads key
// and button state once a frame, so a key's press and release, or two clicks, in the same frame
// would be lost.
struct InputEvent
{
    enum class Type
    {
        Key,
        Text,
        Button,
    };
    Type What = Type::Key;
    int Code = 0; // the key or the button
    int ScanCode = 0;
    int Action = 0;
    int Mods = 0;
    unsigned int CodePoint = 0;
};

// What the GLFW callbacks collect between frames; reached through the window's user pointer.
struct ShellInput
{
    std::deque<InputEvent> Events;
    bool bActivity = true;
    bool bScaleChanged = false;
};

ShellInput& InputOf(GLFWwindow* Window)
{
    return *static_cast<ShellInput*>(glfwGetWindowUserPointer(Window));
}

void OnKey(GLFWwindow* Window, int Key, int ScanCode, int Action, int Mods)
{
    ShellInput& input = InputOf(Window);
    input.bActivity = true;
    input.Events.push_back({InputEvent::Type::Key, Key, ScanCode, Action, Mods, 0U});
}

void OnChar(GLFWwindow* Window, unsigned int CodePoint)
{
    ShellInput& input = InputOf(Window);
    input.bActivity = true;
    input.Events.push_back({InputEvent::Type::Text, 0, 0, 0, 0, CodePoint});
}

void OnMouseButton(GLFWwindow* Window, int Button, int Action, int Mods)
{
    ShellInput& input = InputOf(Window);
    input.bActivity = true;
    input.Events.push_back({InputEvent::Type::Button, Button, 0, Action, Mods, 0U});
}

void OnScroll(GLFWwindow* Window, double X, double Y)
{
    InputOf(Window).bActivity = true;
    ImGui_ImplGlfw_ScrollCallback(Window, X, Y);
}

void OnCursorPos(GLFWwindow* Window, double X, double Y)
{
    InputOf(Window).bActivity = true;
#if IMGUI_VERSION_NUM >= 18700
    ImGui_ImplGlfw_CursorPosCallback(Window, X, Y);
#else
    (void)X;
    (void)Y;
#endif
}

void OnFocus(GLFWwindow* Window, int Focused)
{
    InputOf(Window).bActivity = true;
    ImGui_ImplGlfw_WindowFocusCallback(Window, Focused);
}

void OnCursorEnter(GLFWwindow* Window, int Entered)
{
    InputOf(Window).bActivity = true;
    ImGui_ImplGlfw_CursorEnterCallback(Window, Entered);
}

void OnActivity(GLFWwindow* Window, int /*Width*/, int /*Height*/)
{
    InputOf(Window).bActivity = true;
}

void OnRefresh(GLFWwindow* Window)
{
    InputOf(Window).bActivity = true;
}

void OnContentScale(GLFWwindow* Window, float /*X*/, float /*Y*/)
{
    ShellInput& input = InputOf(Window);
    input.bActivity = true;
    input.bScaleChanged = true;
}

// Hands ImGui the queued events, in order, up to the first one that would change a key or a button
// a second time in this frame; the rest wait for the next frame. A click thus spans two frames,
// so that ImGui sees the button up between two clicks.
void DeliverInput(GLFWwindow* Window, ShellInput& Input)
{
    std::set<int> keys;
    std::set<int> buttons;
    while (!Input.Events.empty())
    {
        const InputEvent event = Input.Events.front();
        if (event.What == InputEvent::Type::Text)
        {
            ImGui_ImplGlfw_CharCallback(Window, event.CodePoint);
        }
        else if (event.What == InputEvent::Type::Button)
        {
            if (!buttons.insert(event.Code).second)
            {
                break;
            }
            ImGui_ImplGlfw_MouseButtonCallback(Window, event.Code, event.Action, event.Mods);
        }
        else if (event.Action != GLFW_REPEAT && !keys.insert(event.Code).second)
        {
            break;
        }
        else
        {
            ImGui_ImplGlfw_KeyCallback(Window, event.Code, event.ScanCode, event.Action, event.Mods);
        }
        Input.Events.pop_front();
    }
    Input.bActivity = Input.bActivity || !Input.Events.empty();
}

// Builds the font and the style for the monitor's content scale. Glyphs are rasterised at device
// pixels and drawn at 1/ratio where the platform's framebuffer is denser than window units, so
// text stays sharp either way.
void ApplyScale(GLFWwindow* Window, const std::string& FontFile, int FontFace)
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
    if (!FontFile.empty())
    {
        ImFontConfig config;
        config.OversampleH = 2;
        config.FontNo = FontFace;
        font = io.Fonts->AddFontFromFileTTF(FontFile.c_str(), std::round(FontPixels * contentScale), &config,
                                            BaseGlyphs);
    }
    if (font == nullptr)
    {
        ImFontConfig config;
        config.SizePixels = std::round(BuiltInFontPixels * contentScale);
        io.Fonts->AddFontDefault(&config);
    }
    io.Fonts->Build();
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
    const ImVec4 accent = style.Colors[ImGuiCol_Header];
    style.Colors[ImGuiCol_Header] = ImVec4(accent.x, accent.y, accent.z, 0.40F);
    style.Colors[ImGuiCol_HeaderHovered] = ImVec4(accent.x, accent.y, accent.z, 0.12F);
    style.Colors[ImGuiCol_HeaderActive] = ImVec4(accent.x, accent.y, accent.z, 0.25F);
    style.ScaleAllSizes(contentScale / pixelRatio);
    ImGui::GetStyle() = style;
}

// Owns the window, the GL context and the ImGui context; tears them down in order.
class Session
{
public:
    Session() { PreviousErrorCallback = glfwSetErrorCallback(RecordGlfwError); }
    ~Session()
    {
        if (bRenderer)
        {
            ImGui_ImplOpenGL3_Shutdown();
        }
        if (bPlatform)
        {
            ImGui_ImplGlfw_Shutdown();
        }
        if (bContext)
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
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    Session(Session&&) = delete;
    Session& operator=(Session&&) = delete;

    // Opens the window and readies ImGui; on failure sets Error and returns false.
    bool Open(const std::string& Title, ShellInput& Input, std::string& Error)
    {
        // The GL driver would otherwise keep compiled shaders in a cache in the home folder:
        // the chooser writes nothing.
        setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
        setenv("MESA_GLSL_CACHE_DISABLE", "true", 1);
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
        glfwSetKeyCallback(Window, OnKey);
        glfwSetCharCallback(Window, OnChar);
        glfwSetMouseButtonCallback(Window, OnMouseButton);
        glfwSetScrollCallback(Window, OnScroll);
        glfwSetCursorPosCallback(Window, OnCursorPos);
        glfwSetWindowFocusCallback(Window, OnFocus);
        glfwSetCursorEnterCallback(Window, OnCursorEnter);
        glfwSetFramebufferSizeCallback(Window, OnActivity);
        glfwSetWindowRefreshCallback(Window, OnRefresh);
        glfwSetWindowContentScaleCallback(Window, OnContentScale);

        IMGUI_CHECKVERSION();
        ImGui::CreateContext();
        bContext = true;
        ImGuiIO& io = ImGui::GetIO();
        // The dialog keeps no settings and writes no files.
        io.IniFilename = nullptr;
        io.LogFilename = nullptr;
        // Desktops take two clicks within about half a second as a double-click; ImGui's 0.3 s
        // is easily missed when a frame is slow (software rendering on a busy machine).
        io.MouseDoubleClickTime = 0.5F;
        bPlatform = ImGui_ImplGlfw_InitForOpenGL(Window, false);
        bRenderer = bPlatform && ImGui_ImplOpenGL3_Init("#version 130");
        if (!bRenderer)
        {
            Error = "OpenGL 3 is not available";
            return false;
        }
        return true;
    }

    GLFWwindow* Window = nullptr;

private:
    GLFWerrorfun PreviousErrorCallback = nullptr;
    bool bGlfw = false;
    bool bContext = false;
    bool bPlatform = false;
    bool bRenderer = false;
};

bool DumpLayoutRequested()
{
    const char* value = std::getenv("GLFD_DEBUG_LAYOUT");
    return value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
}

// The font texture follows the atlas after a rebuild.
void UploadFonts()
{
    ImGui_ImplOpenGL3_DestroyFontsTexture();
    ImGui_ImplOpenGL3_CreateFontsTexture();
}

} // namespace

GLHostResult RunWindowChooser(const std::string& Path, const std::function<void(GLFileDialogPanel&)>& Connect,
                              std::string& Error)
{
    GLImGuiFileDialog dialog(GLImGuiFileDialog::Presentation::FullViewport);
    Connect(dialog.Panel);
    ShellInput input;
    Session session;
    std::string title = dialog.Host.EffectiveTitle();
    if (!session.Open(title, input, Error))
    {
        return GLHostResult::Unavailable;
    }
    GLFWwindow* window = session.Window;
    int fontFace = 0;
    const std::string fontFile = GLImGuiFileDialog::DesktopFontFile(fontFace);
    dialog.SetMainFontFile(fontFile);
    ApplyScale(window, fontFile, fontFace);
    dialog.bDumpLayout = DumpLayoutRequested();

    // Frames are drawn while input arrives and for a few frames after it (ImGui settles hover,
    // scrolling and table sizes a frame late); an idle dialog sleeps in the event wait. While the
    // panel waits on the file system it draws frames itself, through the same routine.
    constexpr int SettleFrames = 3;
    int busyFrames = 0;
    bool bClosed = false;
    int waitDepth = 0;
    const auto frame = [&](bool bMayWait)
    {
        if (busyFrames > 0 || !bMayWait)
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
            bClosed = true;
            if (waitDepth > 0)
            {
                dialog.Panel.AbandonWait();
            }
            return;
        }
        if (input.bActivity)
        {
            busyFrames = SettleFrames;
            input.bActivity = false;
        }
        if (input.bScaleChanged)
        {
            input.bScaleChanged = false;
            ApplyScale(window, fontFile, fontFace);
            UploadFonts();
        }
        if (dialog.AddMissingGlyphs(*ImGui::GetIO().Fonts))
        {
            UploadFonts();
            busyFrames = SettleFrames;
        }
        DeliverInput(window, input);

        ImGui_ImplOpenGL3_NewFrame();
        ImGui_ImplGlfw_NewFrame();
        ImGui::NewFrame();
        dialog.Draw("");
        ImGui::Render();

        std::string nextTitle = dialog.Host.EffectiveTitle();
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
        dialog.ApplyInput();
    };
    dialog.SetWaitFrame(
        [&]
        {
            if (bClosed)
            {
                return;
            }
            ++waitDepth;
            frame(false);
            --waitDepth;
        });

    dialog.Open(Path);
    while (dialog.IsOpen() && dialog.Host.bVisible && !bClosed)
    {
        frame(true);
    }
    if (bClosed)
    {
        return GLHostResult::Closed;
    }
    return GLHostResult::Finished;
}
