pragma Singleton
import QtQuick

// Every text whose wording depends on the desktop the program runs on. On
// Linux the command key of the shortcuts is Super, the program lives in the
// system tray, and the login item is an autostart entry. On a Wayland session
// the desktop allows capture in its own screen-sharing dialog, and a program
// cannot hear keys pressed in other programs' windows.
QtObject {
    readonly property string commandKey: "Super"
    property bool isWaylandSession: Qt.platform.pluginName === "wayland"

    // The key-cap hint in the panel's footer, from appState's
    // shortcutsBoundByDesktop and desktopToggleTrigger. On Wayland, where the
    // desktop has bound the shortcuts (its GlobalShortcuts portal), the keys
    // it names, or the ones Tarvelo asked for when it names none; elsewhere
    // the desktop's own keyboard settings bind the command-line toggle to a
    // key, and as the whole command would not fit beside Settings and Quit,
    // its help names it.
    function toggleKeyCap(boundByDesktop, desktopTrigger) {
        if (!isWaylandSession || (boundByDesktop && desktopTrigger === ""))
            return commandKey + "⇧L"
        return boundByDesktop ? desktopTrigger : "--toggle"
    }
    function toggleKeyHelp(boundByDesktop) {
        return isWaylandSession && !boundByDesktop
            ? "Bind “tarvelo --toggle” to a key in your desktop's keyboard settings." : ""
    }

    // The shortcut list in Settings, as the badges show them.
    readonly property string toggleShortcut: commandKey + " ⇧ L"
    readonly property string brightnessShortcut: commandKey + " ⇧ ↑ / ↓"
    readonly property string spreadShortcut: commandKey + " ⇧ → / ←"
    readonly property string presetShortcut: commandKey + " ⇧ 1 / 2 / 3"
    readonly property string settingsShortcut: commandKey + " ,"

    // The permission card in the panel and the permission row in Settings.
    readonly property string permissionHint: isWaylandSession
        ? "Allow screen sharing when your desktop asks, to capture top screen colors."
        : "Enable Screen Recording in System Settings to capture top screen colors."
    readonly property string permissionGranted: isWaylandSession ? "Screen Sharing Access Granted"
                                                                           : "Screen Recording Access Granted"
    readonly property string permissionRequired: isWaylandSession ? "Screen Sharing Permission Required"
                                                                            : "Screen Recording Permission Required"

    // The last error as the panel shows it: a start that waits for the
    // desktop's dialog goes on by itself once the user allows sharing.
    function errorText(message) {
        if (isWaylandSession
                && message === "Screen Recording permission required. Enable in System Settings, then restart Tarvelo.")
            return "Screen sharing permission required. Allow it when your desktop asks, and the lights start."
        return message
    }

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
