#pragma once
// What fills the canvas area while no project is open: big buttons to begin (open a picture,
// make a new one, a collage, the batch editor, the guide) and the files opened last below them.

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

class QAction;
class QLabel;
class QToolButton;
class QVBoxLayout;

class QDStartScreen : public QWidget
{
    Q_OBJECT
public:
    // action gives the window's action of a command, so that the buttons follow its state.
    explicit QDStartScreen(const std::function<QAction*(int id, const QString& text)>& action,
                           QWidget* parent = nullptr);

    void SetRecentFiles(const std::vector<std::string>& paths);
    QToolButton* GetButton(int commandId) const;
    // The button of a recent file, by position.
    QToolButton* GetRecentButton(int index) const;
    int GetRecentCount() const { return int(vRecent.size()); }

signals:
    void recentFileChosen(const QString& path);
    void guideRequested();

private:
    QVBoxLayout* lpRecentLayout;
    QLabel* lpRecentTitle;
    std::vector<QToolButton*> vButtons;
    std::vector<QToolButton*> vRecent;
};
