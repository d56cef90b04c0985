package com.brel.sorn.velk.cli;

import com.brel.sorn.velk.masking.CsvException;
import com.brel.sorn.velk.masking.CsvMasking;
import com.brel.sorn.velk.masking.CsvReport;
import com.brel.sorn.velk.masking.MaskingService;
import com.brel.sorn.velk.masking.ParsedService;
import java.io.IOException;
import java.io.OutputStream;
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
      "A column gets the rule of its exact name, or of its position ($3), or else of the pattern"
          + " (addr_*) with the most characters; one without a rule is refused. An unquoted empty"
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
  @Mixin private HelpOption help;
  @Mixin private MaskingStringSource maskingString;
  @Mixin private CsvOptions csv;
  @Mixin private OnErrorOptions onError;
  @Mixin private ReportOptions reporting;

  @Option(
      names = {"-j", "--jobs"},
      paramLabel = "N",
      description = {
        "Mask with N threads; the output is the same. Without it, a file of more than 8 MB is masked"
            + " with as many as there are processors, up to 4."
      })
  private Integer jobs;

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
    checkArguments();
    RunFiles files = files();
    try (Masking masking = files.masking(maskingString.read());
        Output output = new Output(out, velk.streams());
        ReportOutput told = reporting.open(velk.streams())) {
      output.tellWhenStopped();
      files.keyWarnings().forEach(velk.streams()::warn);
      Report report = mask(masking, onError.policy(masking), input, output.stream());
      told.write(report);
      output.commit();
      told.commit();
      return reporting.exitCode(report);
    }
  }

  private void checkArguments() {
    if (jobs != null && (jobs < 1 || jobs > MOST_JOBS)) {
      throw Failure.usage("--jobs " + jobs + ": 1 to " + MOST_JOBS);
    }
  }

  private RunFiles files() {
    return new RunFiles()
        .reads("the input", in)
        .reads("the rules file", maskingString.file())
        .writes("the output", out)
        .writes("the report", reporting.file());
  }

  private Report mask(Masking masking, ErrorPolicy policy, Input input, OutputStream output)
      throws IOException {
    try (CsvInput source = csv.open(masking.engine(), input, velk.streams());
        ParsedService rules = masking.rulesOf(source);
        MaskingService service = rules.open()) {
      csv.requireNoBlankEnd(input, source);
      velk.streams().warn(Masking.warnings(rules.columns()));
      CsvMasking table = service.csv().onError(policy.replacement()).threads(threads(input));
      return report(masking, input, mask(table, policy, input, source, output));
    }
  }

  private CsvReport mask(
      CsvMasking table, ErrorPolicy policy, Input input, CsvInput source, OutputStream output)
      throws IOException {
    try (Progress progress = reporting.progress(velk.streams(), input.size())) {
      return table
          .onBlock(
              sofar -> {
                policy.check(sofar);
                progress.update(sofar.rows(), source.bytesRead());
              })
          .mask(source.reader(), output);
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
