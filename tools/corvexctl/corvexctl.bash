# bash completion for corvexctl
_corvexctl() {
  local cur prev
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD-1]}
  local commands="status save restore mouse-info menu-extra quit monitor show bind unbind app help"
  local buttons="LeftButton RightButton B3Button B4Button ChordButton BackChordButton WheelButton
    ButtonID_6 ButtonID_7 ButtonID_8 ButtonID_9 ButtonID_10 ButtonID_11 ButtonID_12 ButtonID_13
    ButtonID_14 ButtonID_15 ButtonID_16 PresetButton1 PresetButton2 PresetButton3 PresetButton4
    PresetButton5 PresetButton6"
  local kinds="StandardResponse MenuResponse LaunchURL Keystrokes MoreClicks LaunchFile PasteText"
  local standard="Click RightClick DoubleClick Drag ApplicationMenu MouseScroll ScrollUp ScrollDown
    HomePage ToggleHorzScroll DoNothing"
  local clicks="Click RightClick MiddleClick Button4Click Button5Click"
  local mods="Shift Cmd Ctrl Option CapsLock Hard"

  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W "$commands --help" -- "$cur"))
    return
  fi
  local command=${COMP_WORDS[1]}
  case $prev in
    --entry) COMPREPLY=($(compgen -W "${kinds/MenuResponse/}" -- "$cur")); return ;;
    --mods) COMPREPLY=($(compgen -W "$mods" -- "$cur")); return ;;
    --app | --label) return ;;
    StandardResponse) COMPREPLY=($(compgen -W "$standard" -- "$cur")); return ;;
    MoreClicks) COMPREPLY=($(compgen -W "$clicks" -- "$cur")); return ;;
    LaunchFile) COMPREPLY=($(compgen -f -- "$cur")); return ;;
  esac
  case $command in
    restore) [ "$COMP_CWORD" -eq 2 ] && COMPREPLY=($(compgen -W "buttons acceleration" -- "$cur")) ;;
    menu-extra) [ "$COMP_CWORD" -eq 2 ] && COMPREPLY=($(compgen -W "show hide" -- "$cur")) ;;
    monitor) COMPREPLY=($(compgen -W "--save --no-save" -- "$cur")) ;;
    show) COMPREPLY=($(compgen -W "--plist --help" -- "$cur")) ;;
    app) [ "$COMP_CWORD" -eq 2 ] && COMPREPLY=($(compgen -W "remove" -- "$cur")) ;;
    help) COMPREPLY=($(compgen -W "$commands" -- "$cur")) ;;
    unbind) COMPREPLY=($(compgen -W "--app --help $buttons" -- "$cur")) ;;
    bind)
      # The first plain word is the button, the second its kind.
      local i words=0
      for ((i = 2; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
          --app | --mods | --label) ((i++)) ;;
          --entry) words=3; ((i++)) ;;
          -*) ;;
          *) ((words++)) ;;
        esac
      done
      case $words in
        0) COMPREPLY=($(compgen -W "--app --mods --label --help $buttons" -- "$cur")) ;;
        1) COMPREPLY=($(compgen -W "$kinds" -- "$cur")) ;;
        *) COMPREPLY=($(compgen -W "--entry --label" -- "$cur")) ;;
      esac
      ;;
  esac
}
complete -F _corvexctl corvexctl
