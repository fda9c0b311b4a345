# Usage: the version, unknown options and missing arguments, a bad scenario.
--version
--scenario {host} machines --colour
--scenario {host} disks
--scenario /nonexistent.json machines
--scenario {host} write D:\\nowhere.vhdx 0 1
--save machines
--scenario {host} write D:\\VMs\\web-01\\data.vhdx -1 5
