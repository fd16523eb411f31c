pragma Singleton
import QtQuick

// Every text whose wording depends on the desktop the program runs on. On
// Linux the command key of the shortcuts is Super, the program lives in the
// system tray, and the login item is an autostart entry.
QtObject {
    readonly property string commandKey: "Super"

    // The key-cap hint in the panel's footer.
    readonly property string toggleKeyCap: commandKey + "⇧L"

    // The shortcut list in Settings, as the badges show them.
    readonly property string toggleShortcut: commandKey + " ⇧ L"
    readonly property string brightnessShortcut: commandKey + " ⇧ ↑ / ↓"
    readonly property string spreadShortcut: commandKey + " ⇧ → / ←"
    readonly property string presetShortcut: commandKey + " ⇧ 1 / 2 / 3"
    readonly property string settingsShortcut: commandKey + " ,"

    readonly property string launchAtLoginHelp: "Starts Tarvelo automatically in the system tray when you log in."
    readonly property string autoDetectHelp:
        "Reads the display layout of your desktop to determine top cinema monitor and bottom ambient display."

    // The login-item registry's status: 0 not registered, 1 enabled,
    // 2 requires approval, 3 not found.
    function loginStatusText(status) {
        switch (status) {
        case 0: return "Disabled"
        case 1: return "Enabled"
        case 2: return "Approval required by your desktop's autostart settings"
        case 3: return "Available when Tarvelo is installed"
        default: return "Status unknown"
        }
    }
}
