# fish completion for nuvexa-companion-cli: its commands, each command's options, and for revoke the
# paired phones' names and fingerprints.

set -l commands pair status devices revoke doctor help
complete -c nuvexa-companion-cli -f
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a pair -d 'Run one pairing session in this terminal'
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a status -d 'Show whether this computer is ready for the phone'
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a devices -d 'List the phones that can log in'
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a revoke -d "Take a phone's access away"
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a doctor -d 'Check with the SSH server that a paired phone gets in'
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -a help -d 'Show the help of the program or of a command'
complete -c nuvexa-companion-cli -n "not __fish_seen_subcommand_from $commands" -s v -l version -d 'Show the version'
complete -c nuvexa-companion-cli -s h -l help -d 'Show the help'

complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair status devices doctor' -l json -d 'Write JSON'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair devices revoke doctor' -l authorized-keys -r -F -d 'The key file'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair' -l no-announce -d 'Do not announce the session'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair' -l log-file -r -F -d 'The log file'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair' -l verbose -d 'Also write the log lines to standard error'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from pair' -l no-wait -d 'Do not wait for the phone to log in'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from revoke' -l yes -d 'Do not ask'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from revoke' -l every-line -d "Remove every line with the phone's key"
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from revoke' -a '(nuvexa-companion-cli devices --names 2>/dev/null)' -d 'Paired phone'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from doctor' -l port -x -d 'The SSH server port'
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from doctor' -l sshd-config -r -F -d "The server's settings"
complete -c nuvexa-companion-cli -n '__fish_seen_subcommand_from help' -a 'pair status devices revoke doctor'
