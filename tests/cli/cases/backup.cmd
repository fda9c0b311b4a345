# The backup road, one command a step: a recovery checkpoint, its change tracking ids, the
# guest's writes, and the ranges changed since.
--scenario {host} --save checkpoint web-01 --recovery --json
--scenario {host} --save rct web-01 93D59B14-CCBF-4B04-8841-58FC02AE7782 --save {dir}/ids.json
--scenario {host} disks web-01
--scenario {host} --save write D:\\VMs\\web-01\\data.vhdx 1048576 8192
--scenario {host} --save write D:\\VMs\\web-01\\data.vhdx 0 4096
--scenario {host} changes web-01 D:\\VMs\\web-01\\data.vhdx --since rctX:530e0e61:18e9:485e:a8bf:f9ea304d9f96:00000000
--scenario {host} changes web-01 D:\\VMs\\web-01\\data.vhdx --since rctX:530e0e61:18e9:485e:a8bf:f9ea304d9f96:00000000 --json
--scenario {host} changes web-01 D:\\VMs\\web-01\\data.vhdx --since rctX:00000000:0000:0000:0000:000000000000:00000000
