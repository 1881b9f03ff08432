#pragma once
// Running a process behind a progress window: one data record (LProcessDialog), or a queue of
// like records with one bar for all (LProcessQueueDialog).

#include <cstdio>
#include <vector>

#include "foundation/LProcessAlert.h"
#include "foundation/LProcessInterfaceQueueItem.h"
#include "ui/LProgressDialog.h"

template <class Data>
class LProcessDialog : public LProgressDialog
{
public:
    LProcessDialog(const char* title, Data& data, QWidget* parent = nullptr)
        : LProgressDialog(title, parent), rData(data)
    {
    }
    void MainFunction() override { iResult = Process(*this, rData); }

    // Failed, in case MainFunction never runs.
    LProcessResult iResult = LProcessResultFailed;
    Data& rData;
};

template <class Data>
LProcessResult ProcessRunAsDialog(QWidget* window, const char* title, Data& data)
{
    LProcessDialog<Data> dialog(title, data, window);
    dialog.Open(window);
    return dialog.iResult;
}

// A progress window that stays open for several processes in a row: open it, Run each, close.
class LProcessDialogRunInterface : public LProgressDialog
{
public:
    using LProgressDialog::LProgressDialog;
    // Shows the window without running anything; Close ends it.
    void OpenForRuns(QWidget* window)
    {
        bRunMode = true;
        Open(window);
    }
    template <class Data>
    LProcessResult Run(Data& data)
    {
        return IsToStop() ? LProcessResultCancelled : Process(*this, data);
    }
    void Close() override
    {
        if (!bRunMode)
            LProgressDialog::Close();
    }
    void EndRuns()
    {
        bRunMode = false;
        LProgressDialog::Close();
    }

private:
    bool bRunMode = false;
};

// A list of records for one queue run; it owns them.
template <class Data>
class LProcessQueue
{
public:
    LProcessQueue() = default;
    LProcessQueue(const LProcessQueue&) = delete;
    LProcessQueue& operator=(const LProcessQueue&) = delete;
    ~LProcessQueue()
    {
        for (Data* d : vItems)
            delete d;
    }
    void Add(Data* item) { vItems.push_back(item); }
    size_t GetCount() const { return vItems.size(); }
    Data* GetItem(size_t i) const { return vItems[i]; }

    std::vector<Data*> vItems;
};

template <class Data>
class LProcessQueueDialog : public LProgressDialog
{
public:
    LProcessQueueDialog(const char* title, LProcessQueue<Data>& queue, bool continueOnError,
                        QWidget* parent = nullptr)
        : LProgressDialog(title, parent), lpQueue(&queue), bContinueOnError(continueOnError)
    {
    }

    void MainFunction() override
    {
        unsigned failed = 0;
        iResult = LProcessResultSuccess;
        bLastItem = false;
        bContinueAnswer = false;
        const size_t count = lpQueue->GetCount();
        if (lpFailedCount)
            *lpFailedCount = 0;
        if (count == 0)
            return;
        const double share = 1.0 / double(count);
        double total = 0;
        for (size_t i = 0; i < count; ++i)
        {
            if (IsToStop())
            {
                iResult = LProcessResultCancelled;
                break;
            }
            bLastItem = i + 1 == count;
            bContinueAnswer = false;
            LProcessInterfaceQueueItem item(*this, total, share);
            iResult = Process(item, *lpQueue->GetItem(i));
            total += share;
            if (iResult == LProcessResultFailed)
            {
                ++failed;
                if (bContinueOnError && bContinueAnswer)
                    iResult = LProcessResultSuccess;
            }
            if (iResult != LProcessResultSuccess)
                break;
            SetProgress(total);
        }
        if (lpFailedCount)
            *lpFailedCount = failed;
    }

    void SetError(const char* text) override
    {
        if (!bContinueOnError)
        {
            static const char* const ok[] = {"OK"};
            LShowAlert(LAlertKindError, "Error", text, ok, 1);
        }
        else if (bLastItem)
        {
            static const char* const ok[] = {"OK"};
            LShowAlert(LAlertKindWarning, "Warning", text, ok, 1);
        }
        else
        {
            static const char* const ask[] = {"Continue", "Cancel"};
            bContinueAnswer = LShowAlert(LAlertKindWarning, "Warning", text, ask, 2) == 0;
        }
        ClearEventQueue(true);
    }

    LProcessQueue<Data>* lpQueue;
    bool bContinueOnError;
    LProcessResult iResult = LProcessResultFailed;
    bool bLastItem = false;
    bool bContinueAnswer = false;
    unsigned* lpFailedCount = nullptr;
};

// The queue's result; failedCount receives the number of items that failed.
template <class Data>
LProcessResult ProcessQueueRunAsDialog(QWidget* window, const char* title, LProcessQueue<Data>& queue,
                                       bool bContinueOnError, unsigned* failedCount)
{
    LProcessQueueDialog<Data> dialog(title, queue, bContinueOnError, window);
    dialog.lpFailedCount = failedCount;
    dialog.Open(window);
    return dialog.iResult;
}
