# Entry points for people trying the codec; each target installs what it needs.
#   make demo [INPUT=clip.mp4] [ARCH=x64]  compress a clip to out/demo.avi through the codec
#                               under Wine, and back; ARCH=x64 with the 64-bit DLL and host
#   make dist                   Windows package: out/ zip with trvx.dll, trvx.inf and a short guide
#   make bench                  speed against libjpeg-turbo and ffmpeg: a table, and out/bench.png
#   make test                   every test suite (what CI runs)
.PHONY: demo dist bench test

demo:
	TRVX_ARCH=$(ARCH) scripts/demo.sh $(INPUT)

dist:
	scripts/dist.sh

bench:
	scripts/bench-report.sh

test:
	scripts/test.sh
