// A whole session driven by real Qt events on the offscreen platform: open two photos, apply an
// effect from the toolbar, drag its slider, undo and redo, hide it, reorder, save the picture and
// the project, close discarding a last change, open the project again and find the pixels that
// were saved.

#include <QMouseEvent>
#include <QTabBar>
#include <QTest>
#include <QToolButton>

#include "app/QDCommandIds.h"
#include "codecs/LImage.h"
#include "document/LQDCacheStore.h"
#include "effects/QDEffectBlur.h"
#include "ui/QDElementList.h"
#include "ui/QDTabbedToolBar.h"
#include "ui/QDThumbnailBrowser.h"
#include "ui/panels/QDPropertiesPanel.h"
#include "ui/panels/QDSlider.h"
#include "app_support.h"

namespace
{
// A mouse event with the buttons held, where QTest's own helpers leave them out of moves.
void Mouse(QWidget* w, QEvent::Type type, QPoint at, Qt::MouseButton button, Qt::MouseButtons held)
{
    QMouseEvent e(type, QPointF(at), QPointF(w->mapToGlobal(at)), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}

bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (!a.IsValid() || !b.IsValid() || a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
        return false;
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), size_t(a.GetWidth()) * 4) != 0)
            return false;
    return true;
}

class SessionTest : public MainDialogTest
{
protected:
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::ControlModifier)
    {
        // A progress dialog that came and went may have taken the activation with it.
        Window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(Window()));
        QTest::keyClick(Window(), Qt::Key(key), modifiers);
        PumpFor(20);
    }
    // Clicks the tab that holds the command, then its button.
    void ClickToolbar(int commandId)
    {
        QDTabbedToolBar* tabs = Window()->GetTabbedToolBar();
        for (int i = 0; i < tabs->count(); ++i)
            if (tabs->FindButton(commandId, i))
            {
                QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(i).center());
                QToolButton* button = tabs->FindButton(commandId, i);
                ASSERT_TRUE(button->isVisible() && button->isEnabled()) << commandId;
                QTest::mouseClick(button, Qt::LeftButton);
                PumpFor(30);
                return;
            }
        FAIL() << "no button for " << commandId;
    }
    void Rendered(QDProject* p, LImageBuffer& image)
    {
        ASSERT_TRUE(WaitForRender(p));
        ASSERT_TRUE(LQDCacheLoadImage(image, p->iHighResCacheId));
    }
};
} // namespace

TEST_F(SessionTest, EditSaveCloseAndReopenWithRealEvents)
{
    Window()->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(Window()));
    const std::string first = MakePicture("session-a.png", "-seed 11 -size 160x120 plasma:fractal");
    const std::string second = MakePicture("session-b.jpg", "-size 90x60 gradient:yellow-green");
    const std::string project = FilesFolder() + "/session.qdj";

    // Open two photos through CTRL+O; the second is current.
    Responder().dqOpen = {{first, second}};
    Key(Qt::Key_O);
    ASSERT_EQ(Dialog().GetProjectCount(), 2u);
    QDProject* p = Dialog().GetFirstProject();
    EXPECT_EQ(Dialog().GetCurrentProject(), p->lpNext);
    // Its thumbnail chooses the first again.
    QTest::mouseClick(Window()->GetThumbnailBrowser()->GetItem(p), Qt::LeftButton);
    ASSERT_EQ(Dialog().GetCurrentProject(), p);
    LImageBuffer original;
    Rendered(p, original);

    // Blur from its tab (it changes the picture at its defaults); its panel appears with it.
    ClickToolbar(6022);
    ASSERT_EQ(p->GetLayerCount(), 2u);
    QDImagePipelineElement* element = p->pipeline.GetElement(1);
    auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element);
    ASSERT_TRUE(wrapped);
    QDPropertiesPanel* panel = Window()->GetShownPanel();
    ASSERT_TRUE(panel);
    EXPECT_EQ(&panel->GetElement(), element);
    LImageBuffer withDefaults;
    Rendered(p, withDefaults);
    EXPECT_FALSE(SamePixels(original, withDefaults));

    // One drag of the slider: one undo item, a new picture.
    QDTrackBar* bar = panel->findChild<QDTrackBar*>();
    ASSERT_TRUE(bar);
    const size_t items = p->undoStack.GetNumItems();
    const double before = wrapped->GetPropertyValue(0);
    const QPoint handle = bar->GetHandleRect().center();
    Mouse(bar, QEvent::MouseButtonPress, handle, Qt::LeftButton, Qt::LeftButton);
    for (int dx : {10, 25, 40})
        Mouse(bar, QEvent::MouseMove, handle + QPoint(dx, 0), Qt::NoButton, Qt::LeftButton);
    Mouse(bar, QEvent::MouseButtonRelease, handle + QPoint(40, 0), Qt::LeftButton, Qt::NoButton);
    const double dragged = wrapped->GetPropertyValue(0);
    EXPECT_NE(dragged, before);
    EXPECT_EQ(p->undoStack.GetNumItems(), items + 1);
    LImageBuffer afterDrag;
    Rendered(p, afterDrag);
    EXPECT_FALSE(SamePixels(afterDrag, withDefaults));

    // Undo and redo by their keys, the slider following.
    Key(Qt::Key_Z);
    EXPECT_EQ(wrapped->GetPropertyValue(0), before);
    LImageBuffer undone;
    Rendered(p, undone);
    EXPECT_TRUE(SamePixels(undone, withDefaults));
    Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(wrapped->GetPropertyValue(0), dragged);
    Rendered(p, undone);
    EXPECT_TRUE(SamePixels(undone, afterDrag));

    // Its eye hides it and shows it again.
    QDElementList* list = Window()->GetElementList();
    ASSERT_EQ(list->GetRowCount(), 2);
    ASSERT_EQ(list->GetRowElement(0), element);
    QTest::mouseClick(list->GetEyeButton(0), Qt::LeftButton);
    EXPECT_FALSE(element->bVisible);
    LImageBuffer hidden;
    Rendered(p, hidden);
    EXPECT_TRUE(SamePixels(hidden, original));
    QTest::mouseClick(list->GetEyeButton(0), Qt::LeftButton);
    EXPECT_TRUE(element->bVisible);

    // A second effect, then dragged beneath the first in the list.
    ClickToolbar(6023);
    ASSERT_EQ(p->GetLayerCount(), 3u);
    QDImagePipelineElement* sharpen = p->pipeline.GetElement(2);
    ASSERT_EQ(list->GetRowElement(0), sharpen);
    QFrame* top = list->GetRow(0);
    QFrame* below = list->GetRow(1);
    const QPoint from = top->rect().center();
    const QPoint to = top->mapFromGlobal(below->mapToGlobal(below->rect().center()));
    Mouse(top, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    Mouse(top, QEvent::MouseMove, from + QPoint(0, 6), Qt::NoButton, Qt::LeftButton);
    Mouse(top, QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
    Mouse(top, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
    EXPECT_EQ(p->pipeline.GetElement(1), sharpen);
    EXPECT_EQ(p->pipeline.GetElement(2), element);
    LImageBuffer reordered;
    Rendered(p, reordered);

    // The picture in place with CTRL+S: the file holds what the canvas shows.
    Key(Qt::Key_S);
    LImageBuffer saved;
    ASSERT_TRUE(LImage::Load(saved, first.c_str()));
    EXPECT_TRUE(SamePixels(saved, reordered));
    EXPECT_FALSE(p->HasUnsavedChanges());

    // The project with CTRL+SHIFT+S.
    Responder().dqSave = {{project, 1}};
    Key(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(std::filesystem::exists(project));
    EXPECT_EQ(Window()->GetCaption(), QString("session.qdj - Quendrel"));

    // A last change, discarded on closing.
    Key(Qt::Key_W);
    EXPECT_TRUE(Responder().vAsked.empty()) << "nothing had changed since the save";
    ASSERT_EQ(Dialog().GetProjectCount(), 1u);
    Responder().dqOpen = {{project}};
    Key(Qt::Key_O);
    QDProject* again = Dialog().GetCurrentProject();
    ASSERT_EQ(Layers(again), 3u);
    ClickToolbar(6022);
    Responder().dqAnswers = {"Don't Save"};
    Key(Qt::Key_W);
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szText, "Save changes to \"session.qdj\" before closing?");

    // Opened once more: the same pixels as when the picture was saved.
    Responder().dqOpen = {{project}};
    Key(Qt::Key_O);
    QDProject* reopened = Dialog().GetCurrentProject();
    ASSERT_EQ(Layers(reopened), 3u);
    EXPECT_STREQ(reopened->pipeline.GetElement(1)->GetTypeIdentifier(), "sharpen");
    LImageBuffer back;
    Rendered(reopened, back);
    EXPECT_TRUE(SamePixels(back, reordered));
    EXPECT_EQ(Window()->GetElementList()->GetRowCount(), 3);
}
