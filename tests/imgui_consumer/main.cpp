// A small ImGui application with widgets of its own and a button that opens the file dialog.
// It prints what happens on standard output, one line each, for the test that drives it:
//   consumer [--window] FOLDER     (modal popup by default; --window: an ordinary window)

#include "glimgui_filedialog.h"

#include <backends/imgui_impl_glfw.h>
#include <backends/imgui_impl_opengl3.h>
#include <imgui.h>

#include <GLFW/glfw3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

// Where a widget of the host is, for the test driver.
void Report(const char* Name)
{
    const ImVec2 min = ImGui::GetItemRectMin();
    const ImVec2 max = ImGui::GetItemRectMax();
    std::printf("widget %s %d %d %d %d\n", Name, static_cast<int>(min.x), static_cast<int>(min.y),
                static_cast<int>(max.x - min.x), static_cast<int>(max.y - min.y));
}

} // namespace

int main(int argc, char** argv)
{
    const bool bWindowed = argc > 2 && std::strcmp(argv[1], "--window") == 0;
    const std::string folder = argc > 1 ? argv[argc - 1] : std::string();
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    if (glfwInit() != GLFW_TRUE)
    {
        return 3;
    }
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 0);
    GLFWwindow* window = glfwCreateWindow(900, 640, "Consumer", nullptr, nullptr);
    if (window == nullptr)
    {
        return 3;
    }
    glfwMakeContextCurrent(window);
    glfwSwapInterval(1);
    ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr;
    ImGui_ImplGlfw_InitForOpenGL(window, true);
    ImGui_ImplOpenGL3_Init("#version 130");

    // ---- The host's whole integration of the dialog ----
    GLImGuiFileDialog dialog(bWindowed ? GLImGuiFileDialog::Presentation::Window
                                       : GLImGuiFileDialog::Presentation::Modal);
    dialog.FilesSelected.connect([](const std::vector<std::string>& Paths)
                                 { std::printf("selected: %s\n", Paths.front().c_str()); });
    dialog.Cancelled.connect([] { std::printf("cancelled\n"); });
    dialog.bDumpLayout = std::getenv("GLFD_DEBUG_LAYOUT") != nullptr;

    bool bLights = false;
    int count = 0;
    bool bReported = false;
    while (glfwWindowShouldClose(window) == GLFW_FALSE)
    {
        glfwWaitEventsTimeout(0.05);
        if (dialog.AddMissingGlyphs(*ImGui::GetIO().Fonts)) // optional: names in every script
        {
            ImGui_ImplOpenGL3_DestroyFontsTexture();
            ImGui_ImplOpenGL3_CreateFontsTexture();
        }
        ImGui_ImplOpenGL3_NewFrame();
        ImGui_ImplGlfw_NewFrame();
        ImGui::NewFrame();

        ImGui::SetNextWindowPos(ImVec2(0.0F, 0.0F));
        ImGui::SetNextWindowSize(ImVec2(300.0F, 120.0F));
        ImGui::Begin("Host", nullptr, ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove);
        if (ImGui::Checkbox("Lights", &bLights))
        {
            std::printf("lights: %s\n", bLights ? "on" : "off");
        }
        const bool bReport = !bReported;
        if (bReport)
        {
            Report("lights");
        }
        if (ImGui::Button("Count"))
        {
            std::printf("count: %d\n", ++count);
        }
        if (bReport)
        {
            Report("count");
        }
        if (ImGui::Button("Open file..."))
        {
            dialog.Open(folder);
        }
        if (bReport)
        {
            Report("open");
            bReported = true;
        }
        ImGui::End();
        dialog.Draw("Open a file");

        ImGui::Render();
        int width = 0;
        int height = 0;
        glfwGetFramebufferSize(window, &width, &height);
        glViewport(0, 0, width, height);
        glClearColor(0.2F, 0.25F, 0.3F, 1.0F);
        glClear(GL_COLOR_BUFFER_BIT);
        ImGui_ImplOpenGL3_RenderDrawData(ImGui::GetDrawData());
        glfwSwapBuffers(window);
    }
    std::printf("host ended\n");

    ImGui_ImplOpenGL3_Shutdown();
    ImGui_ImplGlfw_Shutdown();
    ImGui::DestroyContext();
    glfwDestroyWindow(window);
    glfwTerminate();
    return 0;
}
