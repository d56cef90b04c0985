package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.MaskingService;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
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
  private static final int MOST_JOBS = 256;
  private static final int MOST_JOBS_UNASKED = 4;

  /** Bytes of a file that is worth several threads. */
  private static final long LARGE = 8_000_000;

  @ParentCommand private Velk velk;
  @Mixin private MaskingStringSource maskingString;
  @Mixin private CsvOptions csv;
  @Mixin private OnErrorOptions onError;

  @Option(
      names = {"-j", "--jobs"},
      paramLabel = "N",
      description = {
        "Mask with N threads; the output is the same. Without it, a file of more than 8 MB is masked"
            + " with as many as there are processors, up to 4."
      })
  private Integer jobs;

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
    try {
      return run();
    } catch (CsvException e) {
      throw csv.refusal(e);
    }
  }

  private int run() throws IOException {
    Input input = new Input(in, velk.streams());
    checkArguments(input);
    try (Masking masking = new Masking(maskingString.read());
        Output output = new Output(out, velk.streams());
        Output told = reportFile == null ? null : new Output(reportFile, velk.streams())) {
      masking.keyWarning().ifPresent(text -> velk.streams().say("velk: warning: " + text));
      Report report = mask(masking, onError.policy(masking), input, output.stream());
      String text = reportFormat.write(report);
      if (told != null) {
        Charset charset =
            Input.isStandard(reportFile) ? velk.streams().outCharset() : StandardCharsets.UTF_8;
        told.stream().write(text.getBytes(charset));
        // What can fail does so before the output appears.
        told.stream().flush();
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

  private void checkArguments(Input input) throws IOException {
    if (jobs != null && (jobs < 1 || jobs > MOST_JOBS)) {
      throw Failure.usage("--jobs " + jobs + ": 1 to " + MOST_JOBS);
    }
    input.requireOtherThan(out, "the output");
    if (reportFile != null) {
      input.requireOtherThan(reportFile, "the report");
      if (isSame(out, reportFile)) {
        throw Failure.usage("the output and the report would go to the same place");
      }
    }
  }

  private static boolean isSame(String a, String b) {
    return Input.isStandard(a) || Input.isStandard(b)
        ? a.equals(b)
        : Path.of(a).toAbsolutePath().normalize().equals(Path.of(b).toAbsolutePath().normalize());
  }

  private Report mask(Masking masking, ErrorPolicy policy, Input input, OutputStream output)
      throws IOException {
    try (CsvInput source = csv.open(masking.engine(), input, velk.streams());
        MaskingService service = masking.open();
        Progress progress = quiet ? Progress.none() : Progress.to(velk.streams(), input.size())) {
      Header.read(source.reader()).match(masking.rules());
      CsvReport counts =
          service
              .csv()
              .onError(policy.replacement())
              .threads(threads(input))
              .onBlock(
                  sofar -> {
                    policy.check(sofar);
                    progress.update(sofar.rows(), source.bytesRead());
                  })
              .mask(source.reader(), output);
      return report(masking, input, counts);
    }
  }

  private int threads(Input input) throws IOException {
    if (jobs != null) {
      return jobs;
    }
    int processors = Runtime.getRuntime().availableProcessors();
    return input.size() > LARGE ? Math.min(processors, MOST_JOBS_UNASKED) : 1;
  }

  private Report report(Masking masking, Input input, CsvReport counts) {
    Report report = new Report(counts);
    report.input = input.name();
    report.output = Input.isStandard(out) ? "standard output" : out;
    report.engine = masking.engineName();
    report.keyFingerprint = masking.keyFingerprint();
    return report;
  }
}
