#include "ui/panels/QDEffectFramePanel.h"

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

QDEffectFramePanel::QDEffectFramePanel(QDEffectFrame& element) : QDPropertiesPanel(element), rFrame(element)
{
}

void QDEffectFramePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpChange = new QPushButton("Change Frame", GetContainer());
    lpChange->setAccessibleName("Change Frame");
    lpMenu = new QMenu(lpChange);
    QActionGroup* group = new QActionGroup(lpMenu);
    for (int i = 0; i < int(std::size(arFramePictures)); ++i)
    {
        QAction* action = lpMenu->addAction(arFramePictures[i].szName);
        action->setCheckable(true);
        action->setData(i + 1);
        group->addAction(action);
        connect(action, &QAction::triggered, this,
                [this, i]
                {
                    rFrame.SetFrame(i + 1);
                    PropertiesChanged();
                });
    }
    lpChange->setMenu(lpMenu);
    GetContainerLayout()->addWidget(lpChange);
    CreateTrayResetButton();
    Update();
}

void QDEffectFramePanel::EvReset()
{
    rFrame.SetFrame(1);
    PropertiesChanged();
}

void QDEffectFramePanel::UpdateControls()
{
    // A picture of the element's own is none of the program's frames.
    const QDEffectFrameProperties& p = rFrame.GetProperties();
    for (QAction* action : lpMenu->actions())
        action->setChecked(p.iPicture == 0 && action->data().toInt() == p.iFrame);
}
