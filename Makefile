# Every target is the script of its name in scripts/, which also installs what the machine lacks.
export INPUT TUNING HOURS

.PHONY: run test test-arm64 deb coverage bench bench-arm64 bench-peers fuzz check-records soak abi mutants format lint clean

run:  # real sound through the chain, and a report on it; INPUT=song.wav takes yours, TUNING=speech another tuning
	@scripts/run
test:  # every test: release, sanitizers and 64-bit Arm; the last line is the sum
	@scripts/test
test-arm64:  # the 64-bit Arm ones alone, cross-built and emulated
	@scripts/test arm64
deb:  # Debian packages for amd64 and arm64, into out/deb/
	@scripts/deb
coverage:  # which lines of src/ the tests run
	@scripts/coverage
bench:  # cost of the chain and its parts
	@scripts/bench
bench-arm64:  # instructions on 64-bit Arm, counted under emulation, and cycles, predicted
	@scripts/bench-arm64
bench-peers:  # the same work in ffmpeg and sox
	@scripts/bench-peers
fuzz:  # every fuzz target, SECONDS (30) each
	@scripts/fuzz $(or $(SECONDS),30)
check-records:  # RECORDS (20000) random records through the checker; what it passes must play in finite numbers
	@scripts/check-records
soak:  # HOURS (1) of audio through the chain, offline: no drift, no growth
	@scripts/soak
abi:  # the binary interface against that of the last tagged release
	@scripts/abi
mutants:  # faults planted one by one, and which of them no test finds; half an hour
	@scripts/mutants
format:
	@scripts/format
lint:
	@scripts/lint
clean:
	@rm -rf build build-* out
