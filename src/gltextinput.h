// GLTextInput: a one-line editable text field.
#pragma once

#include "glwidget.h"
#include "signalslot.h"

#include <cstddef>
#include <string>

// A one-line editable text field. User edits raise TextChanged; the program's own
// SetText raises it only when asked to.
class GLTextInput : public GLWidget
{
public:
    // The current text (UTF-8 bytes). Read freely; write through SetText or the edit operations.
    std::string Text;
    // Caret position as a byte offset into Text, always on a character boundary.
    std::size_t Cursor = 0;

    // Raised with the new text after every change made by the user.
    Signal<std::string> TextChanged;
    // Raised when the user confirms the text with Enter.
    Signal<> Submitted;

    // The program replaces the text; the caret moves to the end. TextChanged is raised
    // only when bEmitChanged is true and the text actually changed.
    void SetText(const std::string& NewText, bool bEmitChanged);

    // The user replaced the whole text (backends whose native field edits a copy).
    void EditText(const std::string& NewText);
    // The user typed text at the caret; control characters are dropped.
    void InsertText(const std::string& Utf8);
    // The user deleted the character before the caret.
    void DeleteBackward();
    // The user deleted the character after the caret.
    void DeleteForward();
    // The user pressed Enter.
    void Submit() const { Submitted.emit(); }

    // Text inputs take part in Tab order.
    bool AcceptsFocus() const override { return true; }
    // Left/Right/Home/End move the caret, Backspace/Delete edit, Enter submits.
    bool HandleKey(GLKey Key, GLModifiers Mods) override;
    // Typed text is inserted at the caret as a user edit.
    bool HandleText(const char* Utf8, double NowSeconds) override;
    // Visits this widget as a GLTextInput.
    void Accept(GLWidgetVisitor& Visitor) override;
    // Visits this widget as a GLTextInput.
    void Accept(GLConstWidgetVisitor& Visitor) const override;

private:
    void ReplaceByUser(std::string NewText, std::size_t NewCursor);
};
