// A headless host for the file dialog panel. It does what a backend does (lays the panel out,
// "draws" its widgets, turns keyboard and mouse input into widget calls) and what an owner
// does (connects the signals, sets the mode, opens a folder), with stdout as the screen.
//
//   glfd_embed FOLDER
//
// Selects the first file of FOLDER with the keyboard, clicks the accept button and prints
// what the panel's signals delivered. Exits 0 when a file was chosen.

#include "glfiledialogpanel.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

namespace
{

// The header line, then only the rows that fit: PageRows of them from TopRow on,
// marking highlighted rows with # and the focused row with >.
void DrawTable(const GLTableView& Table)
{
    if (!Table.Model)
    {
        std::cout << '\n';
        return;
    }
    for (const std::string& header : Table.Model->GetHeaders())
    {
        std::cout << ' ' << header;
    }
    std::cout << '\n';
    const int end = std::min(Table.RowCount(), Table.TopRow + Table.PageRows);
    for (int row = Table.TopRow; row < end; ++row)
    {
        std::cout << "     " << (Table.IsRowHighlighted(row) ? '#' : ' ')
                  << (row == Table.FocusedRow ? '>' : ' ');
        for (const std::string& cell : *Table.Model->RowAt(row))
        {
            std::cout << ' ' << cell;
        }
        std::cout << '\n';
    }
}

// Prints one widget per line, by its class.
class Printer : public GLConstWidgetVisitor
{
public:
    explicit Printer(const char* InFocus) : Focus(InFocus) {}

    void Visit(const GLLabel& Label) override { std::cout << Focus << "label  " << Label.Text << '\n'; }
    void Visit(const GLButton& Button) override { std::cout << Focus << "button [" << Button.Label << "]\n"; }
    void Visit(const GLTextInput& Input) override { std::cout << Focus << "input  " << Input.Text << '\n'; }
    void Visit(const GLTableView& Table) override
    {
        std::cout << Focus << "table ";
        DrawTable(Table);
    }

private:
    const char* Focus;
};

// One frame: every shown widget of the window, top to bottom as laid out.
void Draw(const GLWindow& Window)
{
    std::cout << "--- " << (Window.HostWindow != nullptr ? Window.HostWindow->EffectiveTitle() : "") << '\n';
    for (const auto& child : Window.Children)
    {
        if (child->bShown)
        {
            Printer printer(child.get() == Window.FocusedWidget ? "*" : " ");
            child->Accept(printer);
        }
    }
}

// A mouse click at a point: the window finds the widget under it, focuses it, and presses a
// button or the table row there (the table's first line is its header).
void ClickAt(GLWindow& Window, float X, float Y)
{
    Window.PointerPress(X, Y, 1, GLModifiers{});
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "usage: glfd_embed FOLDER\n";
        return 2;
    }

    GLFileDialogPanel panel;
    GLChildWindow host;
    host.SetContent(&panel);
    panel.SetMetrics(GLMetrics{20.0F, 8.0F, 6.0F});
    panel.SetBounds(GLRect{0.0F, 0.0F, 640.0F, 480.0F});

    panel.FilesSelected.connect(
        [](const std::vector<std::string>& Paths)
        {
            std::cout << "FilesSelected:";
            for (const std::string& path : Paths)
            {
                std::cout << ' ' << path;
            }
            std::cout << '\n';
        });
    panel.FileSelected.connect([](const std::string& Path)
                               { std::cout << "FileSelected: " << Path << '\n'; });
    panel.Cancelled.connect([] { std::cout << "Cancelled\n"; });
    panel.StatusChanged.connect([](const std::string& Text)
                                { std::cout << "StatusChanged: " << Text << '\n'; });

    panel.SetSelectionMode(GLFileDialogPanel::SelectionMode::OpenFile);
    panel.OpenAtPath(argv[1]);
    Draw(panel);

    // Keyboard: the table starts with the focus; folders sort first, so walk down to a file.
    // Row i of the table is Entries[i].
    panel.HandleKey(GLKey::Home, GLModifiers{});
    const GLTableView& table = *panel.FileTable;
    while (table.FocusedRow >= 0 && table.FocusedRow + 1 < table.RowCount() &&
           panel.Entries[static_cast<std::size_t>(table.FocusedRow)].bDirectory)
    {
        panel.HandleKey(GLKey::Down, GLModifiers{});
    }
    Draw(panel);

    // Mouse: press the accept button where the layout put it.
    const GLRect accept = panel.AcceptButton->Bounds;
    ClickAt(panel, accept.X + accept.Width / 2.0F, accept.Y + accept.Height / 2.0F);

    // The panel hides its host when the dialog is finished.
    std::cout << (host.bVisible ? "dialog still open" : "dialog finished") << '\n';
    return host.bVisible ? 1 : 0;
}
