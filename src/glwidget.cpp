// GLWidget: the kind of a widget, found through the visitor so no widget class repeats it.
#include "glwidget.h"

namespace
{

// Records the kind of the widget it visits.
class KindFinder : public GLConstWidgetVisitor
{
public:
    GLWidgetKind Found = GLWidgetKind::Other;

    void Visit(const GLLabel& /*Label*/) override { Found = GLWidgetKind::Label; }
    void Visit(const GLButton& /*Button*/) override { Found = GLWidgetKind::Button; }
    void Visit(const GLTextInput& /*Input*/) override { Found = GLWidgetKind::TextInput; }
    void Visit(const GLTableView& /*Table*/) override { Found = GLWidgetKind::Table; }
    void Visit(const GLChoice& /*Choice*/) override { Found = GLWidgetKind::Choice; }
};

} // namespace

GLWidgetKind GLWidget::Kind() const
{
    KindFinder finder;
    Accept(finder);
    return finder.Found;
}
