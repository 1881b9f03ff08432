#pragma once
// The thumbnail strip: one small picture per open project, with its name and a close button.
// A click chooses the project, the close button closes it (with the question on unsaved changes),
// a right click asks for the project's menu.

#include <QScrollArea>
#include <map>

class QFrame;
class QHBoxLayout;
class QLabel;
class QToolButton;
class QDProject;

class QDThumbnailBrowser : public QScrollArea
{
    Q_OBJECT
public:
    explicit QDThumbnailBrowser(QWidget* parent = nullptr);

    void Add(QDProject* project, const QString& name);
    // A new picture; a null image keeps the old one.
    void Update(QDProject* project, const QImage& image, const QString& name);
    void Remove(QDProject* project);
    void Select(QDProject* project);
    int GetCount() const { return int(mapItems.size()); }
    QFrame* GetItem(QDProject* project) const;
    QToolButton* GetCloseButton(QDProject* project) const;
    // Null for a project without a picture yet.
    QPixmap GetPicture(QDProject* project) const;

    static constexpr int kPictureWidth = 96;
    static constexpr int kPictureHeight = 64;

signals:
    void projectSelected(QDProject* project);
    void closeRequested(QDProject* project);
    void rightClicked(QDProject* project);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Item
    {
        QFrame* lpFrame;
        QLabel* lpPicture;
        QLabel* lpName;
        QToolButton* lpClose;
    };
    QWidget* lpInner;
    QHBoxLayout* lpLayout;
    std::map<QDProject*, Item> mapItems;
    QDProject* lpSelected = nullptr;
};
