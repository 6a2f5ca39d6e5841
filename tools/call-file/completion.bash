# SPDX-License-Identifier: BSD-2-Clause
# Completes the options of keswardin-call-file, and directories.

_keswardin_call_file()
{
  local word=${COMP_WORDS[COMP_CWORD]}
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    -d | --directory)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    -p | --prefix | -s | --suffix | -k | --like) return ;;
  esac
  [[ $word != -* ]] ||
    mapfile -t COMPREPLY < <(compgen -W '--directory --prefix --suffix --earlier --like --list --json --null --help' -- "$word")
}
complete -F _keswardin_call_file keswardin-call-file
