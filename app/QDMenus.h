#pragma once
// What the window shows of the commands: the menus in their order, the tabbed toolbar built from
// the catalogue, the caption toolbar and the key map. Data only; the window draws it and the
// enablement rule sets its states.

#include <functional>
#include <string>
#include <vector>

#include "effects/QDEffectCategory.h"
#include "ui/LToolkit.h"

// The 23 keys of the design, then the desktop's own (CTRL+Y, CTRL+W, F11 and the like).
const std::vector<LKeyMapEntry>& QDKeyMap();
const std::vector<LKeyMapEntry>& QDDesktopKeys();
// "Ctrl+Shift+Z", "Del", "Up"; empty for a key without a name.
std::string QDKeyText(uint32_t key);
// The first key of a command, 0 for none.
uint32_t QDKeyForCommand(int commandId);

// File, Edit, Select, View, one per effect category, Tools, Share, and Help; texts with their
// keys. Items of the catalogue's effects come from the catalogue's menu table.
std::vector<LMenu> QDBuildMenus(const LList<QDEffectCategory>& categories);

// The tabs of the toolbar, with the catalogue's rows whose tab names them, in the tab tables'
// order. icon gives the picture drawn by an effect, null when there is none.
std::vector<LToolbarTab> QDBuildToolbarTabs(const std::function<const LImageBuffer*(int commandId)>& icon);
std::vector<LToolbarItem> QDBuildCaptionToolbar();

// The freedesktop name of a command's or a tool's icon, "" when it has none of its own.
const char* QDCommandIconName(int commandId);
// A command's label on the toolbar.
std::string QDCommandLabel(int commandId);

// Every command id the toolbar tabs name, separators left out.
std::vector<int> QDToolbarCommandIds();
