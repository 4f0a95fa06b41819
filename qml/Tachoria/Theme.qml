pragma Singleton
import QtQuick

// The colours and measures of every page, light or dark; the same on every platform.
QtObject {
    property string mode: "Light"
    readonly property bool dark: mode === "Dark"

    readonly property color window: dark ? "#20252b" : "#f3f3f3"
    readonly property color surface: dark ? "#2a3038" : "#ffffff"
    readonly property color surfaceAlt: dark ? "#333b45" : "#f7f7f7"
    readonly property color input: dark ? "#252b32" : "#ffffff"
    readonly property color disabledSurface: dark ? "#252b32" : "#e8e8e8"
    readonly property color text: dark ? "#f1f3f5" : "#202020"
    readonly property color secondaryText: dark ? "#c0c8d1" : "#606060"
    readonly property color mutedText: dark ? "#929ca8" : "#777777"
    readonly property color disabledText: dark ? "#69737e" : "#a9a9a9"
    readonly property color button: dark ? "#353d48" : "#e6e6e6"
    readonly property color buttonHover: dark ? "#414b58" : "#f1f1f1"
    readonly property color buttonPressed: dark ? "#28303a" : "#dcdcdc"
    readonly property color buttonText: dark ? "#f1f3f5" : "#202020"
    readonly property color border: dark ? "#58636f" : "#9a9a9a"
    readonly property color borderStrong: dark ? "#74808d" : "#777777"
    readonly property color accent: dark ? "#66b3ff" : "#2d7fd3"
    readonly property color selection: dark ? "#285f91" : "#b8d9ff"
    readonly property color tab: dark ? "#4b5561" : "#7c7c7c"
    readonly property color error: dark ? "#ff8f8f" : "#b00020"
    readonly property color errorBorder: dark ? "#ff6b6b" : "#c62828"
    readonly property color errorSurface: dark ? "#4b292d" : "#ffe1e1"
    readonly property color warningSurface: dark ? "#4b4028" : "#fff4d6"
    readonly property color success: dark ? "#8bd49b" : "#2e7d32"
    readonly property color warning: dark ? "#f0c36b" : "#a06000"
    readonly property color info: dark ? "#80bfff" : "#245c9c"
    readonly property color modalOverlay: dark ? "#99000000" : "#52000000"
    // The standard palette's three shades that the table above has no name for.
    readonly property color paletteMid: dark ? "#58636f" : "#b5b5b5"
    readonly property color paletteDark: dark ? "#20252b" : "#777777"
    readonly property color paletteLight: dark ? "#74808d" : "#ffffff"

    // Set from the settings by the window; these values stand until then.
    property real uiScale: 1.0
    property int uiPixelSize: 16

    // A design size in pixels at the current scale.
    function s(value) {
        return Math.round(value * uiScale)
    }
    function scaleForFontSize(fontSize) {
        return Math.max(0.75, Math.min(2.5, fontSize / 12.0))
    }
    function pixelSizeForFontSize(fontSize) {
        return Math.max(10, Math.round(fontSize * 4 / 3))
    }
}
