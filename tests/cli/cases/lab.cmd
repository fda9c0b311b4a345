# The examples' hand-written lab host.
--scenario {lab} machines
--scenario {lab} disks vault
