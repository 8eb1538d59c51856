# tests: engine
