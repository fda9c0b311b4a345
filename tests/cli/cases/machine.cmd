# One machine: by name and by id; an unknown and an ambiguous name.
--scenario {host} info db-01
--scenario {host} info 6B5F2E9C-1D3A-4E7B-8C9D-0A1B2C3D4E5F --json
--scenario {host} info nobody
--scenario {host} info twin
info 11111111-2222-3333-4444-555555555555 --scenario {host} --json
