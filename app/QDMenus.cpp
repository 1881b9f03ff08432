#include "app/QDMenus.h"

#include <cctype>
#include <cstring>

#include "app/QDCommandIds.h"
#include "canvas/LKeyHandler.h"
#include "effects/QDEffectCatalogue.h"

namespace
{
constexpr uint32_t Cmd(char c)
{
    return LKeyCommand | uint32_t(uint8_t(c));
}
constexpr uint32_t CmdShift(char c)
{
    return LKeyCommand | LKeyShift | uint32_t(uint8_t(c));
}
// Keys without a character of their own: the design's virtual keys, and F11 outside its table.
constexpr int kVirtualF11 = 0x67;
constexpr uint32_t kKeyDelete = LKeyVirtual(LVK_BACKSPACE) | 0x01;

const std::vector<LKeyMapEntry> kKeyMap = {
    {Cmd('n'), 0, CM_FILE_NEW},
    {Cmd('o'), 0, CM_FILE_OPEN},
    {Cmd('s'), 0, CM_SAVE},
    {Cmd('p'), 0, CM_PRINT},
    {Cmd('a'), 0, CM_SELECT_ALL},
    {Cmd('d'), 0, CM_DESELECT_ALL},
    {Cmd('i'), 0, CM_SELECT_INVERT},
    // Each zoom key twice, with and without the shift its character needs on common layouts.
    {Cmd('+'), 0, CM_ZOOM_IN},
    {Cmd('='), 0, CM_ZOOM_IN},
    {Cmd('-'), 0, CM_ZOOM_OUT},
    {Cmd('_'), 0, CM_ZOOM_OUT},
    {Cmd('0'), 0, CM_ZOOM_FIT},
    {Cmd(')'), 0, CM_ZOOM_FIT},
    {Cmd('z'), 0, CM_UNDO},
    {CmdShift('z'), 0, CM_REDO},
    {kKeyDelete, 0, CM_DELETE},
    {Cmd('x'), 0, CM_CUT},
    {Cmd('c'), 0, CM_COPY},
    {Cmd('v'), 0, CM_PASTE},
    {LKeyVirtual(LVK_UP), 0, CM_SCROLL_UP},
    {LKeyVirtual(LVK_DOWN), 0, CM_SCROLL_DOWN},
    {LKeyVirtual(LVK_LEFT), 0, CM_SCROLL_LEFT},
    {LKeyVirtual(LVK_RIGHT), 0, CM_SCROLL_RIGHT},
};

// What desktop programs have taught their users beyond the design's table.
const std::vector<LKeyMapEntry> kDesktopKeys = {
    {Cmd('y'), 0, CM_REDO},
    {Cmd('w'), 0, CM_CLOSE},
    {CmdShift('s'), 0, CM_SAVE_AS},
    {Cmd('q'), 0, CM_QUIT},
    {LKeyVirtual(kVirtualF11), 0, CM_ZOOM_FULLSCREEN},
};

struct CommandText
{
    int iId;
    const char* szLabel;
    const char* szIcon;
};

// Toolbar labels and freedesktop icon names of the program's own commands and tools.
const CommandText kCommands[] = {
    {CM_FILE_NEW, "New", "document-new"},
    {CM_FILE_OPEN, "Open", "document-open"},
    {CM_SAVE, "Save", "document-save"},
    {CM_SAVE_AS, "Save As", "document-save-as"},
    {CM_SAVE_FOR_WEB, "Save for Web", "document-export"},
    {CM_SET_WALLPAPER, "Wallpaper", "preferences-desktop-wallpaper"},
    {CM_PRINT, "Print", "document-print"},
    {CM_BATCH, "Batch Editor", "view-list-details"},
    {CM_CLOSE, "Close", "document-close"},
    {CM_UNDO, "Undo", "edit-undo"},
    {CM_REDO, "Redo", "edit-redo"},
    {CM_DELETE, "Delete", "edit-delete"},
    {CM_CUT, "Cut", "edit-cut"},
    {CM_COPY, "Copy", "edit-copy"},
    {CM_PASTE, "Paste", "edit-paste"},
    {CM_SELECT_ALL, "Select All", "edit-select-all"},
    {CM_DESELECT_ALL, "Deselect", "edit-select-none"},
    {CM_SELECT_INVERT, "Invert", "edit-select-invert"},
    {CM_SELECT_RECTANGLE, "Rectangle", "select-rectangular"},
    {CM_SELECT_OVAL, "Oval", "draw-ellipse"},
    {CM_SELECT_POLYGON, "Polygon", "draw-polygon"},
    {CM_SELECT_LASSO, "Free Form", "draw-freehand"},
    {CM_SELECT_MAGNET, "Magnet", "draw-bezier-curves"},
    {CM_SELECT_WAND, "Wand", "tool-magic-wand"},
    {CM_COLLAGE, "Collage", "view-grid"},
    {CM_CLIPART, "Clipart", "insert-image"},
    {CM_FRAME_IMAGE, "Frame", "insert-image"},
    {CM_UPLOAD_FLICKR, "Flickr", "folder-cloud"},
    {CM_UPLOAD_FACEBOOK, "Facebook", "im-user"},
    {CM_SEND_EMAIL, "Email", "mail-send"},
    {CM_SHARE_DROPBOX, "Dropbox", "folder-cloud"},
    {CM_SHARE_GOOGLE_DRIVE, "Google Drive", "folder-cloud"},
    {CM_ZOOM_IN, "Zoom-In", "zoom-in"},
    {CM_ZOOM_OUT, "Zoom-Out", "zoom-out"},
    {CM_ZOOM_FIT, "Fit to Window", "zoom-fit-best"},
    {CM_SETTINGS, "Preferences", "configure"},
    // Tools whose picture can't be drawn by running them on a sample.
    {6036, nullptr, "insert-image"},
    {6043, nullptr, "draw-text"},
    {6046, nullptr, "draw-brush"},
    {6060, nullptr, "color-fill"},
    {6045, nullptr, "edit-clone"},
    {6032, nullptr, "tool_imageeffects"},
    {6030, nullptr, "redeyes"},
    {6047, nullptr, "transform-move"},
    {6049, nullptr, "select-rectangular"},
    {6037, nullptr, "transform-crop"},
    {6042, nullptr, "object-rotate-right"},
    {6038, nullptr, "object-flip-horizontal"},
    {6039, nullptr, "transform-scale"},
    {6041, nullptr, "distribute-horizontal-x"},
    {6000, nullptr, "draw-rectangle"},
    {6029, nullptr, "color-picker"},
};

const CommandText* FindCommand(int id)
{
    for (const CommandText& c : kCommands)
        if (c.iId == id)
            return &c;
    return nullptr;
}

LMenuItem Item(int id, const char* text)
{
    LMenuItem item;
    item.iCommandId = id;
    item.szText = text ? text : "";
    if (uint32_t key = QDKeyForCommand(id))
        item.szShortcut = QDKeyText(key);
    return item;
}

LMenuItem Separator()
{
    return LMenuItem{};
}

LMenuItem SubMenu(const char* text)
{
    LMenuItem item;
    item.iCommandId = -1;
    item.szText = text;
    return item;
}

LMenuItem EndSubMenu()
{
    LMenuItem item;
    item.iCommandId = -1;
    return item;
}

// The catalogue's menu entries of one menu, from position first up to (not including) the entry
// with the id stop, or to the end.
void AddEffectEntries(std::vector<LMenuItem>& items, const char* menu, int first, int stop)
{
    const auto entries = QDEffectMenuEntries();
    int position = 0;
    for (const QDEffectMenuEntry& e : entries)
    {
        if (strcmp(e.szMenu, menu) != 0)
            continue;
        if (e.iCommandId == stop)
            break;
        if (position++ >= first)
            items.push_back(Item(e.iCommandId, e.szLabel));
    }
}

int CountEffectEntriesBefore(const char* menu, int stop)
{
    int n = 0;
    for (const QDEffectMenuEntry& e : QDEffectMenuEntries())
    {
        if (strcmp(e.szMenu, menu) != 0)
            continue;
        if (e.iCommandId == stop)
            break;
        ++n;
    }
    return n;
}

// The tabs that aren't the catalogue's: "Home", "Select" and "Share" hold the program's commands
// with the effects the catalogue names for them.
std::vector<int> HomeItems()
{
    std::vector<int> items = {CM_FILE_OPEN, CM_FILE_NEW, CM_SAVE, CM_SAVE_FOR_WEB, 0};
    for (int id : QDEffectHomeTabItems())
        items.push_back(id);
    for (int id : {0, int(CM_COPY), int(CM_PASTE), 0, int(CM_COLLAGE), int(CM_BATCH)})
        items.push_back(id);
    return items;
}

std::vector<int> SelectItems()
{
    std::vector<int> items = {CM_SELECT_RECTANGLE,
                              CM_SELECT_OVAL,
                              CM_SELECT_POLYGON,
                              CM_SELECT_LASSO,
                              CM_SELECT_MAGNET,
                              CM_SELECT_WAND,
                              0,
                              CM_SELECT_ALL,
                              CM_SELECT_INVERT};
    for (int id : QDEffectSelectTabItems())
        items.push_back(id);
    return items;
}

const std::vector<int> kShareItems = {CM_UPLOAD_FLICKR, CM_UPLOAD_FACEBOOK,   CM_SEND_EMAIL, 0,
                                      CM_SHARE_DROPBOX, CM_SHARE_GOOGLE_DRIVE};

LToolbarItem MakeToolbarItem(int id, const std::function<const LImageBuffer*(int)>& icon)
{
    LToolbarItem item;
    item.iCommandId = id;
    if (id == 0)
        return item;
    if (const QDEffectCatalogueRow* row = id >= CM_EFFECT_FIRST ? QDEffectCatalogueFind(id) : nullptr)
    {
        item.szLabel = row->GetToolbarLabel();
        item.szTip = row->GetToolbarTip();
    }
    else
    {
        item.szLabel = QDCommandLabel(id);
        item.szTip = item.szLabel;
    }
    item.szIconName = QDCommandIconName(id);
    if (icon)
        item.lpIcon = icon(id);
    return item;
}

std::vector<LToolbarItem> MakeItems(const std::vector<int>& ids,
                                    const std::function<const LImageBuffer*(int)>& icon)
{
    std::vector<LToolbarItem> items;
    for (int id : ids)
        items.push_back(MakeToolbarItem(id, icon));
    return items;
}
} // namespace

const std::vector<LKeyMapEntry>& QDKeyMap()
{
    return kKeyMap;
}

const std::vector<LKeyMapEntry>& QDDesktopKeys()
{
    return kDesktopKeys;
}

std::string QDKeyText(uint32_t key)
{
    const int virtualKey = int(key >> 24);
    if (virtualKey)
    {
        switch (virtualKey)
        {
        case LVK_BACKSPACE:
            return "Del";
        case LVK_UP:
            return "Up";
        case LVK_DOWN:
            return "Down";
        case LVK_LEFT:
            return "Left";
        case LVK_RIGHT:
            return "Right";
        case kVirtualF11:
            return "F11";
        default:
            return "";
        }
    }
    const char c = char(key & 0xFF);
    if (!c)
        return "";
    std::string text;
    if (key & LKeyCommand)
        text += "Ctrl+";
    if (key & LKeyShift)
        text += "Shift+";
    text += char(std::toupper(uint8_t(c)));
    return text;
}

uint32_t QDKeyForCommand(int commandId)
{
    for (const auto* table : {&kKeyMap, &kDesktopKeys})
        for (const LKeyMapEntry& e : *table)
            if (e.iCommandId == commandId)
                return e.iKey;
    return 0;
}

std::vector<LMenu> QDBuildMenus(const LList<QDEffectCategory>& categories)
{
    std::vector<LMenu> menus;
    menus.push_back({"File",
                     {Item(CM_FILE_NEW, "New"),
                      Item(CM_FILE_OPEN, "Open..."),
                      SubMenu("Open from Cloud Service"),
                      Item(CM_OPEN_DROPBOX, "Open from Dropbox"),
                      Item(CM_OPEN_GOOGLE_DRIVE, "Open from Google Drive"),
                      EndSubMenu(),
                      Item(CM_SAVE, "Save"),
                      Item(CM_SAVE_AS, "Save As..."),
                      Item(CM_SAVE_FOR_WEB, "Save for Web..."),
                      SubMenu("Save to Cloud Service"),
                      Item(CM_SAVE_DROPBOX, "Save to Dropbox"),
                      Item(CM_SAVE_GOOGLE_DRIVE, "Save to Google Drive"),
                      EndSubMenu(),
                      Separator(),
                      Item(CM_SET_WALLPAPER, "Set as Wallpaper"),
                      Item(CM_SCREENSHOT_POPUP, "Take a Screenshot"),
                      Item(CM_WEBCAM, "Get Image from Webcam..."),
                      Separator(),
                      Item(CM_PRINT, "Print..."),
                      Separator(),
                      Item(CM_CLOSE, "Close"),
                      Item(CM_CLOSE_ALL, "Close all"),
                      Separator(),
                      Item(CM_QUIT, "Quit")}});

    LMenu edit{"Edit",
               {Item(CM_UNDO, "Undo"), Item(CM_REDO, "Redo"), Item(CM_DELETE, "Delete"), Separator(),
                Item(CM_CUT, "Cut"), Item(CM_COPY, "Copy"), Item(CM_PASTE, "Paste"),
                Item(CM_PASTE_NEW_PROJECT, "Paste as New Project"), Separator(), SubMenu("Background"),
                Item(CM_BACKGROUND_TRANSPARENT, "Transparent"), Item(CM_BACKGROUND_COLOUR, "Color..."),
                EndSubMenu()}};
    AddEffectEntries(edit.items, "Edit", 0, -1);
    menus.push_back(std::move(edit));

    menus.push_back(
        {"Select",
         {Item(CM_SELECT_ALL, "Select All"), Item(CM_DESELECT_ALL, "Deselect All"),
          Item(CM_SELECT_INVERT, "Invert"), Separator(), Item(CM_SELECT_RECTANGLE, "Rectangle"),
          Item(CM_SELECT_OVAL, "Oval"), Item(CM_SELECT_POLYGON, "Polygon"),
          Item(CM_SELECT_LASSO, "Free Form"), Item(CM_SELECT_MAGNET, "Magnet"), Item(CM_SELECT_WAND, "Wand"),
          Separator(), Item(CM_SELECT_EXPAND, "Expand"), Item(CM_SELECT_CONTRACT, "Contract"), Separator(),
          Item(CM_SELECT_CROP, "Crop Selected"), Item(CM_SELECT_FILL, "Fill")}});

    menus.push_back({"View",
                     {Item(CM_ZOOM_IN, "Zoom-In"), Item(CM_ZOOM_OUT, "Zoom-Out"), Separator(),
                      Item(CM_ZOOM_FIT, "Fit to Window"), Separator(), SubMenu("Zoom To"),
                      Item(CM_ZOOM_5, "5%"), Item(CM_ZOOM_25, "25%"), Item(CM_ZOOM_50, "50%"),
                      Item(CM_ZOOM_100, "100%"), Item(CM_ZOOM_200, "200%"), Item(CM_ZOOM_500, "500%"),
                      EndSubMenu(), Separator(), Item(CM_ZOOM_FULLSCREEN, "Full Screen")}});

    // A category is a pop-up of its own in the menu bar; its start and end items frame it.
    for (const QDEffectCategory* c = categories.GetFirst(); c; c = c->GetNextItem())
    {
        std::vector<QDEffectMenuItem> items;
        c->GetMenuItems(items);
        LMenu menu{c->szName, {}};
        for (size_t i = 1; i + 1 < items.size(); ++i)
            menu.items.push_back(Item(items[i].iCommandId, items[i].szText.c_str()));
        menus.push_back(std::move(menu));
    }

    LMenu tools{"Tools", {}};
    const int before = CountEffectEntriesBefore("Tools", CM_EFFECT_EMBROIDERY);
    AddEffectEntries(tools.items, "Tools", 0, CM_EFFECT_EMBROIDERY);
    tools.items.push_back(Separator());
    tools.items.push_back(Item(CM_BATCH, "Batch Editor..."));
    tools.items.push_back(Item(CM_COLLAGE, "Create Collage..."));
    AddEffectEntries(tools.items, "Tools", before, -1);
    for (LMenuItem item : {Separator(), Item(CM_CLIPART, "Add Clipart..."), SubMenu("Add a Frame"),
                           Item(CM_FRAME_BORDER, "Simple Border"), Item(CM_FRAME_IMAGE, "Image Frame"),
                           EndSubMenu(), Separator(), Item(CM_SETTINGS, "Preferences...")})
        tools.items.push_back(item);
    menus.push_back(std::move(tools));

    menus.push_back(
        {"Share",
         {Item(CM_UPLOAD_FLICKR, "Upload to Flickr..."), Item(CM_UPLOAD_FACEBOOK, "Upload to Facebook..."),
          Item(CM_SEND_EMAIL, "Send Image by Email"), Item(CM_SHARE_DROPBOX, "Save to Dropbox"),
          Item(CM_SHARE_GOOGLE_DRIVE, "Save to Google Drive")}});
    menus.push_back({"Help", {Item(CM_ABOUT, "About Quendrel")}});
    return menus;
}

std::vector<LToolbarTab> QDBuildToolbarTabs(const std::function<const LImageBuffer*(int commandId)>& icon)
{
    std::vector<LToolbarTab> tabs;
    tabs.push_back({ID_TAB_HOME, "Home", MakeItems(HomeItems(), icon)});
    std::vector<int> before, after;
    for (const QDToolbarTab& t : QDEffectToolbarTabs())
    {
        LToolbarTab tab{t.iCommandId, t.szName, {}};
        for (int id : t.items)
            tab.items.push_back(MakeToolbarItem(id, icon));
        tabs.push_back(std::move(tab));
        // "Select" stands after "Edit".
        if (t.iCommandId == ID_TAB_EDIT)
            tabs.push_back({ID_TAB_SELECT, "Select", MakeItems(SelectItems(), icon)});
    }
    tabs.push_back({ID_TAB_SHARE, "Share", MakeItems(kShareItems, icon)});
    return tabs;
}

std::vector<LToolbarItem> QDBuildCaptionToolbar()
{
    std::vector<LToolbarItem> items;
    for (auto [id, tip] : {std::pair<int, const char*>{CM_SAVE, "Save"},
                           {CM_UNDO, "Undo the last operation"},
                           {CM_REDO, "Redo the last operation"}})
    {
        LToolbarItem item;
        item.iCommandId = id;
        item.szLabel = QDCommandLabel(id);
        item.szTip = tip;
        item.szIconName = QDCommandIconName(id);
        items.push_back(item);
    }
    return items;
}

const char* QDCommandIconName(int commandId)
{
    const CommandText* c = FindCommand(commandId);
    return c && c->szIcon ? c->szIcon : "";
}

std::string QDCommandLabel(int commandId)
{
    if (const CommandText* c = FindCommand(commandId); c && c->szLabel)
        return c->szLabel;
    if (const QDEffectCatalogueRow* row = QDEffectCatalogueFind(commandId))
        return row->GetToolbarLabel();
    return "";
}

std::vector<int> QDToolbarCommandIds()
{
    std::vector<int> ids;
    for (const LToolbarTab& tab : QDBuildToolbarTabs(nullptr))
        for (const LToolbarItem& item : tab.items)
            if (item.iCommandId)
                ids.push_back(item.iCommandId);
    return ids;
}
