# Sample requests to the service kova:/device. Each line is a command for a shell in which KOVA_SERVICE
# names the service, so that a path is enough.

# The resources of the service, the commands for each, and the type of its value.
kova tree

# /system reads data from the kernel at each request.
kova get /system
kova get /system/uptime
# A locator also names the service.
kova get 'kova:/device$/system/load'

# A stream sends the current value, and then each new one.
kova watch /system/load --count 3
# /clock sends the time: as a stream, or once after a duration.
kova watch /clock --count 2
kova get /clock/in '"P0000-00-00T00:00:01"'

# /about/request returns what the service receives: the client, the service, whether there is a token.
kova get /about/request

# /store is a JSON document in a file. Every path in it is a resource.
kova insert /store/volume 5
kova put /store/volume 7
kova insert /store/stations '["one", "two"]'
kova insert /store/stations/1 '"between"'
kova get /store
kova delete /store/stations/0
# The header of the answer is printed on standard error.
kova get /store/stations --header

# The binary format, and its bytes as JSON.
kova get /store --binary | od -An -tx1
kova get /store --binary | kova decode

# /volume is one value that clients write and watch.
kova put /volume '{"level": 55}'
kova watch /volume --count 1

# /scan counts the files below a folder on another thread, and reports its progress.
kova get /scan '"/proc/sys/vm"'

# kova prints the reason if a request is refused, and has an exit status for it.
kova insert /store/volume 8 || echo "exit status $?"
kova put /store/volume '{"open":' || echo "exit status $?"
kova get /store/nothing || echo "exit status $?"
kova get /nowhere || echo "exit status $?"
kova put /system/memory 1 || echo "exit status $?"
kova get /clock/in '"P0000-01-00T00:00:00"' || echo "exit status $?"
kova get 'kova:/radio$/system' || echo "exit status $?"
