#pragma once
// Runs of the program for scripts: after the photo's first full render, zoom and take a picture
// of the window; or walk the fixed scenario of the window (start, photo, an effect with its panel,
// zoom levels, two effects, undo, the save dialog, the batch editor), writing one picture per step. Each step
// waits for the render it asked for, then for the repaint, so the pictures show what a person would see.

#include <string>
#include <vector>

#include "foundation/LTimerHandler.h"

class MainDialog;
class QDProject;

class QDAutomation : public LTimerHandler
{
public:
    explicit QDAutomation(MainDialog& dialog);
    ~QDAutomation() override;

    // zoom: "fit" or a per cent; path: where the picture goes, empty for none.
    void StartZoomShot(const std::string& photo, const std::string& zoom, const std::string& path);
    void StartScenario(const std::string& photo, const std::string& folder);
    void EvTimer(int id) override;

    // A run that doesn't finish in this time ends with 2.
    static constexpr int kTimeoutMs = 120000;

private:
    struct Step
    {
        std::string szShot; // picture to take once done, empty for none
        int iCommand = 0;   // 0: open the photo; -1: nothing to run
        bool bWaitRender = false;
        bool bDialog = false; // the command opens a dialog: its picture, then it closes
    };
    void Next();
    void RunStep(const Step& step);
    void Shoot(const std::string& name);
    void EvRender(int code, QDProject* project);
    void Finish(int code);

    MainDialog& rDialog;
    std::string szPhoto;
    std::string szFolder;
    std::string szZoom;
    std::string szZoomShot;
    std::vector<Step> vSteps;
    size_t iStep = 0;
    bool bWaitingRender = false;
    bool bZoomShot = false;
};
