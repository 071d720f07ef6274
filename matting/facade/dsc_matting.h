// placeholder: the real header follows within minutes (signatures: interface.md and Parts 1.1, 1.2)
