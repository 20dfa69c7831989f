import Tolvane

PlaybackModeToggle {
    required property OutputModel output

    name: qsTr("Exclusive Access")
    title: output.exclusiveTitle
    modeState: output.exclusiveState
    message: output.exclusiveMessage
    tint: output.exclusiveColor
    on: output.exclusiveAccess
    onChosen: enabled => output.setExclusiveAccess(enabled)
}
