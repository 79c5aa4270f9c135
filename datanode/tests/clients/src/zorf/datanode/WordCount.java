package zorf.datanode;

import java.io.IOException;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.io.IntWritable;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.mapreduce.InputSplit;
import org.apache.hadoop.mapreduce.Job;
import org.apache.hadoop.mapreduce.JobContext;
import org.apache.hadoop.mapreduce.lib.input.FileInputFormat;
import org.apache.hadoop.mapreduce.lib.input.FileSplit;
import org.apache.hadoop.mapreduce.lib.input.TextInputFormat;
import org.apache.hadoop.mapreduce.lib.map.TokenCounterMapper;
import org.apache.hadoop.mapreduce.lib.output.FileOutputFormat;
import org.apache.hadoop.mapreduce.lib.reduce.IntSumReducer;

/**
 * A MapReduce job that counts words, with two reducers, in this process.
 *
 * <p>WordCount HDFS INPUT OUTPUT. Prints a line for each split that the job was submitted with: file, offset
 * and the hosts that its task prefers.
 */
public final class WordCount {
  private WordCount() {}

  /** Lines of text, whose splits are told. */
  public static final class ToldFormat extends TextInputFormat {
    @Override
    public List<InputSplit> getSplits(JobContext job) throws IOException {
      List<InputSplit> splits = super.getSplits(job);
      for (InputSplit split : splits) {
        FileSplit part = (FileSplit) split;
        System.out.println(
            part.getPath().getName() + " " + part.getStart() + " " + String.join(" ", part.getLocations()));
      }
      return splits;
    }
  }

  public static void main(String[] arguments) throws Exception {
    Configuration conf = new Configuration();
    conf.set("fs.defaultFS", arguments[0]);
    conf.setInt("mapreduce.local.map.tasks.maximum", 4);
    Job job = Job.getInstance(conf, "words");
    job.setJarByClass(WordCount.class);
    job.setInputFormatClass(ToldFormat.class);
    job.setMapperClass(TokenCounterMapper.class);
    job.setCombinerClass(IntSumReducer.class);
    job.setReducerClass(IntSumReducer.class);
    job.setNumReduceTasks(2);
    job.setOutputKeyClass(Text.class);
    job.setOutputValueClass(IntWritable.class);
    FileInputFormat.addInputPath(job, new Path(arguments[1]));
    FileOutputFormat.setOutputPath(job, new Path(arguments[2]));
    System.exit(job.waitForCompletion(false) ? 0 : 1);
  }
}
