package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.MaskingService;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "mask",
    description = "Masks a CSV file.",
    footer = {
      "",
      "The columns of the header are matched to the rules by their exact names. An unquoted empty"
          + " value is null, a quoted one (\"\") is empty. The output appears under its name when"
          + " it is complete; a run that fails leaves none. Only on standard output, what was"
          + " written before a failure stays written."
    })
final class MaskCommand implements Callable<Integer> {
  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;
  @Mixin private MaskingStringSource maskingString;
  @Mixin private OnErrorOptions onError;

  @Option(
      names = {"-j", "--jobs"},
      paramLabel = "N",
      defaultValue = "1",
      description = "Mask with N processes; the output is the same (default: ${DEFAULT-VALUE}).")
  private int jobs;

  @Option(
      names = {"-q", "--quiet"},
      description = "No progress, and no report but that of --report.")
  private boolean quiet;

  @Option(
      names = "--report",
      paramLabel = "FILE",
      description = {
        "Write the report to this file, or to standard output (-); without it, it goes to standard"
            + " error."
      })
  private String reportFile;

  @Option(
      names = "--report-format",
      paramLabel = "text|json",
      defaultValue = "text",
      description = "How the report is written (default: ${DEFAULT-VALUE}).")
  private ReportFormat reportFormat;

  @Parameters(paramLabel = "IN", description = "The CSV file in UTF-8; - is standard input.")
  private String in;

  @Parameters(paramLabel = "OUT", description = "The masked file; - is standard output.")
  private String out;

  @Override
  public Integer call() throws IOException {
    Input input = new Input(in, velk.streams());
    checkArguments(input);
    try (Masking masking = files().masking(maskingString.read());
        Output output = new Output(out, velk.streams());
        Output told = reportFile == null ? null : new Output(reportFile, velk.streams())) {
      output.tellWhenStopped();
      masking.keyWarning().ifPresent(text -> velk.streams().say("velk: warning: " + text));
      Report report = mask(masking, onError.policy(masking), input, output.stream());
      // A file is read by something else than this terminal.
      int width = told == null ? velk.streams().terminalWidth() : 0;
      String text = reportFormat.write(report, width);
      if (told != null) {
        Charset charset =
            Input.isStandard(reportFile) ? velk.streams().outCharset() : StandardCharsets.UTF_8;
        // What can fail does so before the output appears.
        told.write(text.getBytes(charset));
      }
      output.commit();
      if (told != null) {
        told.commit();
      } else if (!quiet) {
        velk.streams().err().print(text);
        velk.streams().err().flush();
      }
      return report.errorCount() > 0 ? ExitCode.FIELD_ERRORS : ExitCode.DONE;
    }
  }

  private void checkArguments(Input input) {
    if (jobs < 1) {
      throw Failure.usage("--jobs " + jobs + ": at least 1");
    }
    if (jobs > 1 && (input.isStream() || Input.isStandard(out))) {
      throw Failure.usage("--jobs needs files: it works on several places of them at a time");
    }
  }

  private RunFiles files() {
    return new RunFiles()
        .reads("the input", in)
        .reads("the rules file", maskingString.file())
        .writes("the output", out)
        .writes("the report", reportFile);
  }

  private Report mask(Masking masking, ErrorPolicy policy, Input input, OutputStream output)
      throws IOException {
    try (CsvSource source = new CsvSource(input.open());
        MaskingService service = masking.open();
        Progress progress = quiet ? Progress.none() : Progress.to(velk.streams(), input.size())) {
      Header header = Header.read(source);
      int[] ruleOf = header.match(masking.rules());
      Report report = report(masking, input, ruleOf);
      if (jobs > 1) {
        SliceTask task = new SliceTask(masking.text(), in, policy, header.row().end());
        new ParallelMasker(task, SlicedFile.slices(Path.of(in), jobs), Path.of(out))
            .run(report, progress, output);
      } else {
        CsvSink sink = new CsvSink(output, header.row().end());
        sink.writeHeader(source, header);
        new RowMasker(header, ruleOf, service, policy, report, 1)
            .run(source, sink, done -> progress.update(done.rows, source.offset()));
      }
      return report;
    }
  }

  private Report report(Masking masking, Input input, int[] ruleOf) {
    Report report = new Report(Arrays.stream(ruleOf).mapToObj(masking.rules()::get).toList());
    report.input = input.name();
    report.output = Input.isStandard(out) ? "standard output" : out;
    report.engine = masking.engineName();
    report.keyFingerprint = masking.keyFingerprint();
    return report;
  }
}
