# Names that carry control characters: escaped in tables, whole in JSON.
--scenario {cases}/odd.json machines
--scenario {cases}/odd.json machines --json
