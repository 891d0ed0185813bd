# SPDX-License-Identifier: BSD-2-Clause
# Completion of zemctl and check_zem for fish. The program says what may stand at a place.

function __zemctl_complete
    set -l current (commandline -ct)
    for line in (zemctl --complete (commandline -opc) "$current" 2>/dev/null)
        if string match -q ':files*' -- $line
            __fish_complete_path "$current"
        else
            echo $line
        end
    end
end

complete -c zemctl -f -a '(__zemctl_complete)'
complete -c check_zem -f -a '(__zemctl_complete)'
