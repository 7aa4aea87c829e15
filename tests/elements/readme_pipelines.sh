#!/bin/sh
# Plays the pipelines that some Markdown files show, in their order and in the present folder, and
# counts them.
# A tone stands for the microphone, and a file for the loudspeaker, which must not stay silent.
set -eu
port=$(shuf -i 20000-30000 -n 1)
sed -n '/^```sh/,/^```$/p' "$@" | sed ':join; /\\$/ { N; s/\\\n//; b join }' |
  sed -n "s/autoaudiosrc/audiotestsrc is-live=true num-buffers=60/; s/port=5004/port=$port/
    s/autoaudiosink/filesink location=heard/; s/^gst-launch-1.0/& -q/p" >commands
while read -r command; do
  case $command in
  *udpsrc*)
    eval "exec timeout -s INT 20 $command" &
    while kill -0 $! && ! grep -qi ":$(printf %04x "$port") " /proc/net/udp; do sleep 0.1; done
    continue
    ;;
  esac
  eval "$command"
  case $command in *udpsink*) kill -INT $!; wait $! || : ;; *heard*) ;; *) continue ;; esac
  [ "$(wc -c <heard)" -gt 40000 ] || echo "silent: $command"
  rm heard
done <commands
wc -l <commands
