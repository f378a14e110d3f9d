// A choice among a short list of captions (a drop-down's state), changed by keys or the pointer.
#pragma once

#include "glwidget.h"
#include "signalslot.h"

#include <string>
#include <vector>

// One item chosen out of several, e.g. the active file filter. Backends draw Prefix and the
// chosen item's caption and offer the list (a pop-up, or stepping on a click); the widget keeps
// the state and raises Changed whenever the user picks another item.
class GLChoice : public GLWidget
{
public:
    // Text drawn before the chosen caption, e.g. "Filter:"; may be empty.
    std::string Prefix;
    // The captions to choose from, in order.
    std::vector<std::string> Items;
    // Index of the chosen item; -1 only while Items is empty.
    int SelectedIndex = -1;

    // Raised with the new index after the user chose another item.
    Signal<int> Changed;

    // The program replaces the items and the choice (clamped into range). No event.
    void SetItems(std::vector<std::string> NewItems, int NewIndex);
    // The chosen item's caption, or empty.
    std::string SelectedText() const;
    // The user picks an item (out-of-range indices are ignored); raises Changed when it differs.
    void Choose(int Index);
    // The user steps to the next (or previous) item; with bWrap the end leads to the start.
    void Step(bool bBackward, bool bWrap);

    // Takes part in Tab order while there is something to choose.
    bool AcceptsFocus() const override { return !Items.empty(); }
    // Up/Left and Down/Right step, Home/End go to the first/last item.
    bool HandleKey(GLKey Key, GLModifiers Mods) override;
    // A space steps forward, wrapping, as a click does.
    bool HandleText(const char* Utf8, double NowSeconds) override;
    // Visits as a choice.
    void Accept(GLWidgetVisitor& Visitor) override { Visitor.Visit(*this); }
    // Visits as a choice.
    void Accept(GLConstWidgetVisitor& Visitor) const override { Visitor.Visit(*this); }
};
