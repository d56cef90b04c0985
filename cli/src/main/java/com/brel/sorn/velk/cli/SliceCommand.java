package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.MaskingService;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.JsonParser;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.Arrays;
import java.util.concurrent.Callable;
import java.util.concurrent.TimeUnit;
import picocli.CommandLine.Command;
import picocli.CommandLine.ParentCommand;

/** Masks one slice for a parent process: the task comes in, messages go out, both in JSON. */
@Command(name = "mask-slice", hidden = true, description = "Masks a part of a file.")
final class SliceCommand implements Callable<Integer> {
  private static final long INTERVAL = TimeUnit.MILLISECONDS.toNanos(200);

  @ParentCommand private Velk velk;
  private final ObjectMapper json =
      new ObjectMapper()
          .disable(JsonGenerator.Feature.AUTO_CLOSE_TARGET)
          .disable(JsonParser.Feature.AUTO_CLOSE_SOURCE);
  private long lastMessage = System.nanoTime();

  @Override
  public Integer call() throws IOException {
    SliceTask task = json.readValue(firstLine(velk.streams().in()), SliceTask.class);
    Path part = Path.of(task.output());
    endWithParent(part);
    try {
      mask(task);
      return ExitCode.DONE;
    } catch (Exception e) {
      Failure failure = Velk.failure(e);
      send(SliceMessage.failed(failure.getMessage(), failure.exitCode()));
      return failure.exitCode();
    }
  }

  private static String firstLine(InputStream in) throws IOException {
    java.io.ByteArrayOutputStream line = new java.io.ByteArrayOutputStream();
    for (int next = in.read(); next >= 0 && next != '\n'; next = in.read()) {
      line.write(next);
    }
    return line.toString(java.nio.charset.StandardCharsets.UTF_8);
  }

  /** The parent keeps its end open: where it closes, the parent is gone. */
  private void endWithParent(Path part) {
    Thread watch =
        new Thread(
            () -> {
              try {
                while (velk.streams().in().read() >= 0) {
                  // Nothing more is said.
                }
              } catch (IOException e) {
                // Gone as well.
              }
              part.toFile().delete();
              Runtime.getRuntime().halt(ExitCode.INTERNAL);
            });
    watch.setDaemon(true);
    watch.start();
  }

  private void mask(SliceTask task) throws IOException {
    try (Masking masking = new Masking(task.maskingString());
        CsvSource whole = new CsvSource(Files.newInputStream(Path.of(task.input())));
        MaskingService service = masking.open();
        OutputStream out =
            Files.newOutputStream(Path.of(task.output()), StandardOpenOption.CREATE_NEW)) {
      Header header = Header.read(whole);
      int[] ruleOf = header.match(masking.rules());
      Report report = new Report(Arrays.stream(ruleOf).mapToObj(masking.rules()::get).toList());
      CsvSink sink = new CsvSink(out, task.usualEnd());
      Slice slice = task.slice();
      if (slice.from() == 0) {
        sink.writeHeader(whole, header);
      }
      try (CsvSource source = source(task)) {
        if (slice.from() == 0) {
          source.next();
        }
        long firstRow = Math.max(1, slice.row());
        new RowMasker(header, ruleOf, service, task.policy(), report, firstRow)
            .run(source, sink, done -> tell(done, source.offset() - slice.from()));
        send(SliceMessage.done(report, slice.to() - slice.from()));
      }
    }
  }

  private static CsvSource source(SliceTask task) throws IOException {
    Slice slice = task.slice();
    InputStream in = Files.newInputStream(Path.of(task.input()));
    in.skipNBytes(slice.from());
    return new CsvSource(
        new LimitedInput(in, slice.to() - slice.from()), slice.from(), slice.line());
  }

  private void tell(Report report, long bytes) {
    if (System.nanoTime() - lastMessage >= INTERVAL) {
      lastMessage = System.nanoTime();
      send(SliceMessage.progress(report.rows, bytes, report.errorCount()));
    }
  }

  private void send(SliceMessage message) {
    try {
      OutputStream out = velk.streams().out();
      out.write(json.writeValueAsBytes(message));
      out.write('\n');
      out.flush();
    } catch (IOException e) {
      throw new java.io.UncheckedIOException(e);
    }
  }
}
