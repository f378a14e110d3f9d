// GLButton: a push button.
#pragma once

#include "glwidget.h"
#include "signalslot.h"

#include <string>

// A push button.
class GLButton : public GLWidget
{
public:
    // The caption.
    std::string Label;
    // Raised when the button is pressed (mouse, or Enter/space while focused).
    Signal<> Clicked;

    // Presses the button.
    void Click() const { Clicked.emit(); }

    // Buttons take part in Tab order.
    bool AcceptsFocus() const override { return true; }
    // Enter presses the button.
    bool HandleKey(GLKey Key, GLModifiers Mods) override
    {
        if (Key == GLKey::Enter && !Mods.bAlt && !Mods.bCtrl)
        {
            Click();
            return true;
        }
        return false;
    }
    // Space presses the button.
    bool HandleText(const char* Utf8, double /*NowSeconds*/) override
    {
        if (Utf8 != nullptr && Utf8[0] == ' ' && Utf8[1] == '\0')
        {
            Click();
            return true;
        }
        return false;
    }
    // Visits this widget as a GLButton.
    void Accept(GLWidgetVisitor& Visitor) override { Visitor.Visit(*this); }
    // Visits this widget as a GLButton.
    void Accept(GLConstWidgetVisitor& Visitor) const override { Visitor.Visit(*this); }
};
