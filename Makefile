# Every target is the script of its name in scripts/, which also installs what the machine lacks.
export INPUT

.PHONY: run test bench format lint clean

run:  # the chain over real sound into out/process.wav; INPUT=song.wav takes yours
	@scripts/run
test:  # every test: release, sanitizers and 64-bit Arm; the last line is the sum
	@scripts/test
bench:  # cost of the chain and its parts
	@scripts/bench
format:
	@scripts/format
lint:
	@scripts/lint
clean:
	@rm -rf build build-* out
